#include "fuzz/support/ScratchFile.h"

#include <KblUtils/StringUtil.h>

#include <array>
#include <fstream>

ScratchFile::ScratchFile() {
  const std::filesystem::path memory = "/dev/shm";
  std::array<char, 64> name{};
  KblGenerateUuid(name.data());
  folder_ = (std::filesystem::exists(memory) ? memory : std::filesystem::temp_directory_path()) /
            (std::string("kbl-fuzz-") + name.data());
  std::filesystem::create_directory(folder_);
}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

void ScratchFile::write(const std::uint8_t* data, std::size_t size) const {
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) std::filesystem::remove_all(entry);
  std::ofstream(path(), std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}
