#include "platform/linux/LinuxThreadTable.h"

#include <new>
#include <vector>

namespace {

// Which record the calling thread runs for.
thread_local const void* ownRecord = nullptr;

}  // namespace

void LinuxThreadTable::runThread(void* told) {
  std::unique_ptr<std::shared_ptr<Record>> held(static_cast<std::shared_ptr<Record>*>(told));
  Record& record = **held;
  ownRecord = &record;
  record.entry(record.argument);
  LinuxThreadTable& table = *record.table;
  {
    std::lock_guard lock(table.lock_);
    record.left = true;
  }
  table.changed_.notify_all();
}

uint32_t LinuxThreadTable::create(unsigned (*entry)(void*), const char* name, void* argument) try {
  joinThoseThatLeft();
  auto record = std::make_shared<Record>();
  record->table = this;
  record->entry = entry;
  record->argument = argument;
  auto held = std::make_unique<std::shared_ptr<Record>>(record);

  std::lock_guard lock(lock_);
  uint32_t id = freeIdLocked();
  if (id == 0) return 0;
  records_[id] = record;
  // Under the lock: whoever kills the thread finds it started.
  if (!record->thread.start(name, runThread, held.get())) {
    records_.erase(id);
    return 0;
  }
  static_cast<void>(held.release());
  record->started = true;
  lastId_ = id;
  return id;
} catch (const std::bad_alloc&) {
  return 0;
}

void LinuxThreadTable::kill(uint32_t id) {
  std::unique_lock lock(lock_);
  auto place = records_.find(id);
  if (place == records_.end()) return;
  std::shared_ptr<Record> record = place->second;
  bool mine = !record->claimed;
  record->claimed = true;
  if (ownRecord == record.get()) {
    if (mine) record->thread.detach();
    records_.erase(place);
    return;
  }
  changed_.wait(lock, [&] { return record->left; });
  lock.unlock();
  if (mine) record->thread.join();
  lock.lock();
  place = records_.find(id);
  if (place != records_.end() && place->second == record) records_.erase(place);
}

// The next identifier in the round that nobody has, else that of a thread that ended by itself.
uint32_t LinuxThreadTable::freeIdLocked() {
  uint32_t reusable = 0;
  for (uint32_t step = 1; step <= kLastId; ++step) {
    uint32_t id = (lastId_ + step - 1) % kLastId + 1;
    auto place = records_.find(id);
    if (place == records_.end()) return id;
    if (reusable == 0 && place->second->left && place->second->claimed) reusable = id;
  }
  return reusable;
}

// Gives back what the system keeps of threads that ended and that nobody has killed yet.
void LinuxThreadTable::joinThoseThatLeft() {
  std::vector<std::shared_ptr<Record>> left;
  {
    std::lock_guard lock(lock_);
    for (auto& [id, record] : records_) {
      if (!record->left || record->claimed) continue;
      left.push_back(record);
      record->claimed = true;
    }
  }
  for (const std::shared_ptr<Record>& record : left) record->thread.join();
}
