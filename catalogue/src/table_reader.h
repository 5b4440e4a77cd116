// A table of a class file, read key by key. Whatever is wrong is reported with
// its place and reading goes on, so that a person sees all mistakes at once.

#ifndef OSTREL_CATALOGUE_TABLE_READER_H
#define OSTREL_CATALOGUE_TABLE_READER_H

#include <ostrel/class_file.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "toml.h"

namespace ostrel {

// One file while it is read.
class FileReport {
 public:
  FileReport(ClassFiles* out, const std::string& file, std::string_view text,
             ClassSource source)
      : out_(out), file_(file), text_(text), source_(source) {}

  FilePlace place(const toml::source_region& region) const {
    return {file_, region.begin.line, region.begin.column};
  }

  // `where` names the part that is wrong; it may be empty.
  void mistake(const FilePlace& place, const std::string& where,
               const std::string& text);
  void note(const FilePlace& place, const std::string& where,
            const std::string& text);

  // Of what this program does not know: a server may be newer.
  void unknown(const FilePlace& place, const std::string& where,
               const std::string& text);

  ClassSource source() const { return source_; }

  // Whether nothing more is taken, so that looking further is in vain.
  bool isFull() const;

  // The word that stands at this place, as the author wrote it.
  std::string word(const toml::source_region& region) const;

 private:
  void add(ClassMistake mistake);

  ClassFiles* out_;
  std::string file_;
  std::string_view text_;
  ClassSource source_;
  std::size_t mistakes_ = 0;
};

// What a value is, for messages: "a whole number" for instance.
const char* kindOf(const toml::node& node);

class TableReader {
 public:
  // A part of a class file: "attribute.state" is the path of a table, "" that
  // of the file. The places of the keys go to `places`.
  using Places = std::map<std::string, FilePlace, std::less<>>;
  TableReader(const toml::table& table, std::string path, FileReport* report,
              Places* places)
      : table_(table),
        path_(std::move(path)),
        report_(report),
        places_(places) {}

  // The value of a key that may be there; each key that is asked for is known.
  const toml::node* find(const char* key);

  // The same of one type; a value of another is a mistake and gives nothing.
  std::optional<std::string> text(const char* key);
  std::optional<std::int64_t> whole(const char* key);
  std::optional<bool> truth(const char* key);
  const toml::table* table(const char* key);
  const toml::array* array(const char* key);
  std::vector<std::string> texts(const char* key, std::size_t most);

  // One of a table's words, as the position in it.
  std::optional<std::size_t> choice(const char* key,
                                    const std::vector<std::string_view>& words);

  // Reports each key that nobody asked for.
  void finish();

  // About the value of a key, or, where there is none, about the table.
  void mistake(const char* key, const std::string& text);

  std::string pathOf(const char* key) const;
  const std::string& path() const { return path_; }
  FilePlace place(const toml::node& node) const {
    return report_->place(node.source());
  }
  FileReport* report() { return report_; }
  Places* places() { return places_; }

 private:
  void wrongType(const char* key, const toml::node& node, const char* wanted);

  const toml::table& table_;
  std::string path_;
  FileReport* report_;
  Places* places_;
  std::vector<std::string_view> known_;
};

}  // namespace ostrel

#endif  // OSTREL_CATALOGUE_TABLE_READER_H
