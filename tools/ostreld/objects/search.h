// Which objects a search finds: the operation codes and what they mean; and how
// it goes over the objects, in turns, so that nobody waits for it.

#ifndef OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H
#define OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "objects/manager.h"
#include "objects/page.h"

namespace ostrel::tools::server {

// Conditions that a search may have.
constexpr unsigned kMostConditions = 64;

// Checks the conditions of a search: attributes with an identifier, a known
// code and, but for "is there", a value; and those of a page, each code once.
// Returns 0, or -1 with an entry of `errors` for each that is not so; those
// beyond kMostConditions are not.
int checkConditions(veskList& conditions, veskList* errors);

// Who serves what.
class Places {
 public:
  virtual ~Places() = default;
  virtual ObjectManager& managerOf(const veskOid& oid) = 0;

  // The first class behind that one, of whichever manager.
  virtual std::optional<veskOid> classAfter(veskOid& classOid) = 0;
};

// A search that goes on in turns. Candidates come from the managers, one class
// after the other, in ascending order; those that meet all conditions go to the
// sink. Each is judged as it is when the search comes to it.
class Search {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Takes what was found; false ends the search.
  using Sink = std::function<bool(veskOid& oid)>;

  // Goes over the objects of a class, those of all classes for 0.0.0.0, or one
  // object; where a page is asked for, from its first on. The sink sees to its
  // limit. The conditions were checked; they and the places have to outlive
  // this object.
  Search(Places* places, const veskOid& where, veskList& conditions, Sink sink);

  // Goes on until the deadline, by one object at least. Returns whether there
  // is more to do. Throws StoreError.
  bool step(Time deadline);

  // What is asked for besides conditions.
  Page& page() { return page_; }

  // Why it ended: 0, or what a manager said.
  int code() const { return code_; }

 private:
  void begin();
  bool finishPlace(Time deadline);
  void plan(ObjectManager& manager, Time deadline);
  bool list(ObjectManager& manager, Time deadline);
  bool scan(ObjectManager& manager, Time deadline, bool* whole);
  bool readEach(ObjectManager& manager, Time deadline);
  void goToNextPlace();
  bool meetsOthers(ObjectManager& manager, veskOid& oid);
  std::size_t firstCandidate();
  void found(veskOid& oid);

  Places* places_;
  Page page_;
  veskList conditions_;  // those of objects; they stay the request's
  Sink sink_;
  bool everywhere_ = false;
  bool planned_ = false;  // the present class
  bool done_ = false;
  int code_ = 0;
  veskOid place_;  // a class, or the one object
  veskOid after_;  // the last of the class that was judged

  // The objects of a class that an index gives, or whose manager hands over all
  // of them at once, and which of them is next.
  std::optional<std::vector<veskOid>> candidates_;
  std::size_t next_ = 0;
};

}  // namespace ostrel::tools::server

#endif  // OSTREL_TOOLS_OSTRELD_OBJECTS_SEARCH_H
