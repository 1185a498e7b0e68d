# Writes a C++ file that holds the bytes of the files of the page.
#   cmake -D FOLDER=sandbox/page -D NAMES=a.html,b.js -D OUTPUT=PageFiles.cpp -P EmbedFiles.cmake
string(REPLACE "," ";" names "${NAMES}")
set(arrays "")
set(rows "")
set(number 0)
foreach(name IN LISTS names)
  file(READ "${FOLDER}/${name}" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND arrays "constexpr char file${number}[] = {${bytes}};\n")
  string(APPEND rows "    {\"${name}\", {file${number}, sizeof(file${number})}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "#include \"sandbox/services/page/PageFiles.h\"

#include <utility>

namespace sandbox {

namespace {

${arrays}
constexpr std::pair<std::string_view, std::string_view> files[] = {
${rows}};

}  // namespace

std::optional<std::string_view> pageFile(std::string_view name) {
  for (const auto& [known, text] : files) {
    if (known == name) return text;
  }
  return std::nullopt;
}

}  // namespace sandbox
")
