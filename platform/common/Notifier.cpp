#include "platform/Notifier.h"

#include <map>
#include <string>

#include "platform/common/Mutex.h"

namespace {

// MessageTypes: the names that became types. Never destroyed: it works before main and after it.
class MessageTypes {
public:
  NotifyMsgTypeDictionary::Type typeOf(std::string_view name) {
    MutexLock lock(lock_);
    auto next = static_cast<NotifyMsgTypeDictionary::Type>(types_.size() + 1);
    return types_.try_emplace(std::string(name), next).first->second;
  }

private:
  Mutex lock_;
  std::map<std::string, NotifyMsgTypeDictionary::Type> types_ GUARDED_BY(lock_);
};

}  // namespace

NotifyMsgTypeDictionary::Type NotifyMsgTypeDictionary::intern(const LightweightString<char>& name) {
  static MessageTypes& types = *new MessageTypes;
  return types.typeOf(name.view());
}

Notifier::~Notifier() { removeAll(); }

void Notifier::add(Type type, const Listener& listener) {
  if (!listener) return;
  CriticalSectionLock lock(lock_);
  entries_.add({type, listener});
}

bool Notifier::remove(Type type, const Listener& listener) {
  Listener removed;  // goes after the lock: a listener may do anything as it ends
  CriticalSectionLock lock(lock_);
  for (size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].type != type || !(entries_[i].listener == listener)) continue;
    removed.swap(entries_[i].listener);
    entries_.removeIdx(i);
    return true;
  }
  return false;
}

void Notifier::issue(const NotifyMsg& message) const {
  for (const Listener& listener : listenersOf(message.getType())) listener->callback(message);
}

Vector<Notifier::Listener> Notifier::listenersOf(Type type) const {
  Vector<Listener> listeners;
  CriticalSectionLock lock(lock_);
  for (const Registration& entry : entries_)
    if (entry.type == type && listeners.locate(entry.listener) == listeners.npos)
      listeners.add(entry.listener);
  return listeners;
}

Vector<Notifier::Registration> Notifier::removeAll() noexcept {
  Vector<Registration> removed;
  CriticalSectionLock lock(lock_);
  removed.swap(entries_);
  return removed;
}
