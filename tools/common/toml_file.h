// Configuration files, as a list of what stands in them and where. They are
// written in TOML; what the keys mean is left to the programs.

#ifndef OSTREL_TOOLS_COMMON_TOML_FILE_H
#define OSTREL_TOOLS_COMMON_TOML_FILE_H

#include <istream>
#include <stdexcept>
#include <string>
#include <vector>

namespace ostrel::tools {

// A mistake in a configuration; the text begins with where it is.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A key with its value, or the beginning of a table.
struct TomlEntry {
  std::vector<std::string> path;  // the tables around it, and its own name
  bool isTable = false;
  bool isArray = false;
  std::vector<std::string> values;  // as texts: one, or those of an array
  std::string place;                // "FILE:LINE:COLUMN"

  const std::string& name() const { return path.back(); }
};

// Reads a file, in its order. Values are texts, numbers, true and false, and
// arrays of these. Throws ConfigurationError.
std::vector<TomlEntry> readToml(std::istream& file, const std::string& name);

// " (known are: a, b)" or, for a slip of the pen, " (is a meant?)": the end of
// a message about a word that is not known.
std::string suggestion(const std::string& word,
                       const std::vector<std::string>& known);

}  // namespace ostrel::tools

#endif  // OSTREL_TOOLS_COMMON_TOML_FILE_H
