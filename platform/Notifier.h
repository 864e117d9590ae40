#pragma once

#include <cstdint>

#include "platform/CriticalSection.h"
#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"
#include "platform/QvPtr.h"
#include "platform/Vector.h"
#include "platform/iObject.h"

// NotifyMsgTypeDictionary: message types by name; the same name is the same type for ever.
// Threads    any.
class PLATFORM_EXPORT NotifyMsgTypeDictionary {
public:
  using Type = uint32_t;
  // Above 0. Works before main.
  static Type intern(const LightweightString<char>& name);
};

// NotifyMsg: one notification.
// Threads    a value; its payload is shared.
class NotifyMsg {
public:
  NotifyMsg() = default;
  NotifyMsg(NotifyMsgTypeDictionary::Type type, const LightweightString<char>& text,
            const Qv::Ptr<iObject>& payload = nullptr)
      : type_(type), text_(text), payload_(payload) {}

  NotifyMsgTypeDictionary::Type getType() const { return type_; }
  const LightweightString<char>& getText() const { return text_; }
  const Qv::Ptr<iObject>& getPayload() const { return payload_; }

private:
  NotifyMsgTypeDictionary::Type type_ = 0;
  LightweightString<char> text_;
  Qv::Ptr<iObject> payload_;
};

// iCallbackBase: something that is called with an argument.
// Ownership  shared by whoever may call it.
template <typename Result, typename Argument>
class iCallbackBase : public virtual Qv::InternalRefCount {
public:
  virtual Result callback(Argument argument) = 0;
};

// Notifier: who wants to hear of which messages, and tells them.
// Story      A listener is registered for one type. A message goes to the listeners of its type in
//            the order of their registration, each once.
// Threads    any. A message is delivered on the thread that issues it, with no lock of the
//            notifier's held: a listener may issue, and add and remove listeners. One that is
//            removed while a message is on its way may still be called for it.
// Ownership  shares its listeners. They go while it is still whole: as one ends it may remove
//            itself and others, and must not add any.
class PLATFORM_EXPORT Notifier {
public:
  using Listener = Qv::Ptr<iCallbackBase<int, NotifyMsg>>;
  using Type = NotifyMsgTypeDictionary::Type;
  // Whom messages of a type are told.
  struct Registration {
    Type type;
    Listener listener;
  };

  Notifier() = default;
  ~Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  // A null listener is ignored.
  void add(Type type, const Listener& listener);
  // The first registration of that listener; false when there is none.
  bool remove(Type type, const Listener& listener);
  void issue(const NotifyMsg& message) const;
  // Whom a message of that type goes to, each once.
  Vector<Listener> listenersOf(Type type) const;
  // The listeners go when and where the caller lets go of them.
  Vector<Registration> removeAll() noexcept;

private:
  mutable CriticalSection lock_;
  Vector<Registration> entries_ GUARDED_BY(lock_);
};
