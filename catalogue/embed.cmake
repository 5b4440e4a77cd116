# cmake -D FILES=... -D OUTPUT=... -P embed.cmake
#
# Writes a source with the names and the texts of the class files.

set(rows "")
foreach(file IN LISTS FILES)
  file(READ ${file} text)
  get_filename_component(name ${file} NAME)
  string(APPEND rows "    {\"${name}\", R\"toml(${text})toml\"},\n")
endforeach()
file(WRITE ${OUTPUT} "// Made by embed.cmake from the files in classes/.

#include \"shipped.h\"

namespace ostrel {

const std::vector<ShippedFile>& shippedFiles() {
  static const std::vector<ShippedFile> files{
${rows}  };
  return files;
}

}  // namespace ostrel
")
