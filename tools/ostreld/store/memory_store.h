// Objects in memory: what tests use, and programs that need no file.

#ifndef OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
#define OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H

#include <array>
#include <map>

#include "store/store.h"

namespace ostrel::tools::server {

class MemoryStore : public Store {
 public:
  std::vector<veskOid> classes() override;
  std::vector<veskOid> objects(const veskOid& classOid) override;
  bool has(const veskOid& oid) override;
  std::vector<Entry> read(const veskOid& oid) override;
  void insert(const veskOid& oid) override;
  void write(const veskOid& oid, const veskAid& id,
             std::string_view value) override;
  void remove(const veskOid& oid) override;
  std::uint64_t takeNumber(const veskOid& classOid) override;
  void keepAnswer(std::string_view request, std::string_view answer,
                  std::int64_t expires) override;
  std::optional<std::string> answer(std::string_view request,
                                    std::int64_t now) override;
  void forgetAnswers(std::int64_t now) override;

 private:
  using Oid = std::array<std::uint32_t, 4>;
  using Aid = std::array<std::uint32_t, 3>;
  using Class = std::array<std::uint32_t, 2>;
  struct Answer {
    std::string bytes;
    std::int64_t expires;
  };
  struct Content {
    std::map<Oid, std::map<Aid, std::string>> objects;
    std::map<Class, std::uint64_t> numbers;
    std::map<std::string, Answer, std::less<>> answers;
  };

  void begin() override;
  void commit() override;
  void rollback() noexcept override;

  Content content_;
  Content before_;  // what a transaction began with
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_STORE_MEMORY_STORE_H
