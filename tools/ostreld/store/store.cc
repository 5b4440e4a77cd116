#include "store/store.h"

namespace ostrel::tools::server {

Transaction::Transaction(Store& store) : store_(store), open_(!store.open_) {
  if (!open_) return;
  store_.begin();
  store_.open_ = true;
}

Transaction::~Transaction() {
  if (!open_) return;
  store_.open_ = false;
  store_.rollback();
}

void Transaction::commit() {
  if (!open_) return;
  store_.commit();
  store_.open_ = false;
  open_ = false;
}

bool Transaction::lost() const { return !store_.inTransaction(); }

Savepoint::Savepoint(Store& store) : store_(store) { store_.savepoint(); }

Savepoint::~Savepoint() {
  if (open_) store_.rollBackTo();
}

void Savepoint::keep() {
  store_.release();
  open_ = false;
}

}  // namespace ostrel::tools::server
