#pragma once

#include "sandbox/TestClient.h"

#include <string>

/// The session opening of a YouTube upload as a client sends it.
inline constexpr const char* uploadTarget =
    "/upload/youtube/v3/videos?part=snippet,status,recordingDetails&alt=json&uploadType=resumable";

[[nodiscard]] Fields openHeaders(const std::string& token, std::size_t size);
[[nodiscard]] std::string metadata(const std::string& title);
/// Opens an upload and returns the target of its chunks; empty when it was refused.
[[nodiscard]] std::string openUpload(TestClient& client, const std::string& token, std::size_t size);
[[nodiscard]] std::pair<std::string, std::string> contentRange(std::size_t first, std::size_t count,
                                                               std::size_t total);
/// Sends one chunk of `file`.
Answer putChunk(TestClient& client, const std::string& target, const std::string& token,
                const std::string& file, std::size_t first, std::size_t count);
/// Bytes that are easy to tell apart.
[[nodiscard]] std::string someFile(std::size_t size);
[[nodiscard]] std::string sha256Of(const std::string& bytes);
