// The life of an exported class's record. Each exported class is a handle whose only member is a
// pointer to a record that it alone owns: its constructors make the record, copies make a new one,
// assignment replaces it, `decode` starts from a fresh one, and `clear` (also the destructor's
// work) frees it. These are those steps, written once.
#pragma once

namespace Zanthorel {
namespace PKI {
namespace TSP {

// A new default record given its first values by `fill(Record&)`; freed again should `fill` throw.
template <class Record, class Fill>
Record* newRecord(Fill fill) {
  Record* record = new Record;
  try {
    fill(*record);
  } catch (...) {
    delete record;
    throw;
  }
  return record;
}

// A new record, a copy of `other`.
template <class Record>
Record* copyRecord(const Record* other) {
  return new Record(*other);
}

// Assignment: nothing when both are the same record; otherwise the copy is made before the old
// record goes, so that a copy that fails leaves `record` as it was.
template <class Record>
void assignRecord(Record*& record, const Record* other) {
  if (record == other) return;
  Record* copy = new Record(*other);
  delete record;
  record = copy;
}

// Replaces `record` with a default one; the old record is gone before anything else happens.
template <class Record>
void renewRecord(Record*& record) {
  Record* fresh = new Record;
  delete record;
  record = fresh;
}

// The release that `clear` and the destructor perform.
template <class Record>
void releaseRecord(Record*& record) noexcept {
  delete record;
  record = nullptr;
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
