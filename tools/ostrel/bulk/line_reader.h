// Lines of files, or of standard input, one behind the other. Reading never
// waits for more than is there.

#ifndef OSTREL_TOOLS_OSTREL_BULK_LINE_READER_H
#define OSTREL_TOOLS_OSTREL_BULK_LINE_READER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ostrel::tools::cli {

class LineReader {
 public:
  // "-", or no file at all, is standard input. Throws Failure when a file
  // cannot be opened: before anything is done, all of them are.
  explicit LineReader(const std::vector<std::string>& files);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  // The next line, without its newline. Nothing: see atEnd(). Throws Failure
  // when it cannot be read, or is too long.
  std::optional<std::string> next();

  // Whether there will be no more; else there is none yet.
  bool atEnd() const { return at_ == files_.size(); }

  // Can be read when there is more; -1 at the end.
  int descriptor() const;

  // Of the line that next() gave last, counted from 1 through all files.
  std::uint64_t number() const { return number_; }

  // Which part of the input was taken, from 0 to 1; nothing when nobody knows
  // how much there is.
  std::optional<double> share() const;

 private:
  struct File {
    int descriptor;
    bool isOurs;
    std::string name;
    std::optional<std::uint64_t> size;
  };

  void open(const std::string& name);
  bool fill();

  std::vector<File> files_;
  std::size_t at_ = 0;
  std::string buffer_;
  std::size_t taken_ = 0;     // bytes of the buffer
  std::size_t searched_ = 0;  // bytes behind them without a newline
  std::uint64_t number_ = 0;
  std::uint64_t bytes_ = 0;  // of all lines so far
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_BULK_LINE_READER_H
