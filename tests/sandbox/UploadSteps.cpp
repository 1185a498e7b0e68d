#include "sandbox/UploadSteps.h"

#include "sandbox/base/Sha256.h"

Fields openHeaders(const std::string& token, std::size_t size) {
  return {bearer(token),
          {"Content-Type", "application/json"},
          {"X-Upload-Content-Type", "application/octet-stream"},
          {"X-Upload-Content-Length", std::to_string(size)}};
}

std::string metadata(const std::string& title) {
  return R"({"snippet":{"title":")" + title +
         R"(","description":"d","tags":"a,b"},"status":{"privacyStatus":"private","license":"youtube"}})";
}

std::string openUpload(TestClient& client, const std::string& token, std::size_t size) {
  const Answer answer = client.post(uploadTarget, metadata("title"), openHeaders(token, size));
  return answer.status == 200 ? targetOf(answer.header("Location")) : std::string();
}

std::pair<std::string, std::string> contentRange(std::size_t first, std::size_t count, std::size_t total) {
  return {"Content-Range", "bytes " + std::to_string(first) + "-" + std::to_string(first + count - 1) + "/" +
                               std::to_string(total)};
}

Answer putChunk(TestClient& client, const std::string& target, const std::string& token,
                const std::string& file, std::size_t first, std::size_t count) {
  return client.put(target, file.substr(first, count),
                    {bearer(token), contentRange(first, count, file.size())});
}

std::string someFile(std::size_t size) {
  std::string bytes(size, '\0');
  unsigned value = 1;
  for (char& byte : bytes) {
    value = value * 1103515245U + 12345U;
    byte = static_cast<char>(value >> 16);
  }
  return bytes;
}

std::string sha256Of(const std::string& bytes) {
  sandbox::Sha256 hash;
  hash.add(bytes.data(), bytes.size());
  return hash.hex();
}
