#include "store/store.h"

namespace ostrel::tools::server {

Transaction::Transaction(Store& store)
    : store_(store), open_(!store.inTransaction_) {
  if (!open_) return;
  store_.begin();
  store_.inTransaction_ = true;
}

Transaction::~Transaction() {
  if (!open_) return;
  store_.inTransaction_ = false;
  store_.rollback();
}

void Transaction::commit() {
  if (!open_) return;
  store_.commit();
  store_.inTransaction_ = false;
  open_ = false;
}

Savepoint::Savepoint(Store& store) : store_(store) { store_.savepoint(); }

Savepoint::~Savepoint() {
  if (open_) store_.rollBackTo();
}

void Savepoint::keep() {
  store_.release();
  open_ = false;
}

}  // namespace ostrel::tools::server
