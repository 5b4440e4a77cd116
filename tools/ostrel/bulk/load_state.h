// Which lines of its input a load has done, in a file beside it, so that a load
// that was ended goes on where it ended. Lines that were under way when it was
// killed may be done again.
//
// Each line is a JSON object: the number of the input's line, the object that
// stands there, and the identifier that the object has now.

#ifndef OSTREL_TOOLS_OSTREL_BULK_LOAD_STATE_H
#define OSTREL_TOOLS_OSTREL_BULK_LOAD_STATE_H

#include <ostrel/identifier.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ostrel::tools::cli {

class LoadState {
 public:
  // Without a file: knows nothing and keeps nothing.
  LoadState() = default;
  ~LoadState();
  LoadState(const LoadState&) = delete;
  LoadState& operator=(const LoadState&) = delete;

  // Reads the file, which is made when it is not there. A last line without its
  // end is one that was not written whole: it is cut off. Throws Failure: the
  // file cannot be used, another load uses it, or it is no such file.
  void open(const std::string& name);

  // Whether a line was done. Throws Failure when another object stands there
  // than the one that was: the file belongs to another input.
  bool isDone(std::uint64_t line, const Oid& object) const;

  std::uint64_t count() const { return count_; }

  // From now on the line is done; save() writes it.
  void add(std::uint64_t line, const Oid& object, const Oid& now);
  void save();

 private:
  void take(const std::string& line, std::uint64_t number);

  std::string name_;
  int file_ = -1;
  std::string unsaved_;
  std::vector<Oid> done_;  // the object of each line; not valid: not done
  std::uint64_t count_ = 0;
};

}  // namespace ostrel::tools::cli

#endif  // OSTREL_TOOLS_OSTREL_BULK_LOAD_STATE_H
