#pragma once

#include <new>
#include <utility>

#include "platform/QvLockFree.h"
#include "platform/QvPtr.h"

// QvDC: commands that are delivered to a receiver.
// Story      A receiver makes a SmplCmd bound to itself and hands it, as a Cmd, to a service. For
//            each event the service takes a copy from the pool, which carries the event's context,
//            and executes it: the receiver's executeCommand runs. The copy goes back to the pool.
// Threads    ThreadSafe commands may be copied and executed on any thread, several at once.
// Ownership  a Cmd shares its representation; the receiver outlives every execution.
namespace QvDC {

struct ThreadSafetyTraits {
  struct ThreadSafe {};
};

// What a Cmd stands for: something that can be executed with a context.
template <typename Context>
class CommandRep : public virtual Qv::InternalRefCount {
public:
  // Takes a representation from the pool, executes it with `context` and gives it back. Allocates
  // nothing once the pool has grown. Returns the receiver's answer.
  virtual unsigned executeWith(const Context& context) const = 0;
};

// Cmd: a command as a service takes it: whoever executes it does not know its receiver.
template <typename Context, typename Traits>
class Cmd {
public:
  Cmd() = default;
  explicit Cmd(Qv::Ptr<CommandRep<Context>> rep) : rep_(std::move(rep)) {}

  // 0 for an unbound command.
  unsigned execute(const Context& context) const { return rep_ ? rep_->executeWith(context) : 0; }
  explicit operator bool() const { return static_cast<bool>(rep_); }

private:
  Qv::Ptr<CommandRep<Context>> rep_;
};

template <typename ContextType, typename Tag, typename Traits>
class SmplCmd;

// Receiver: the target of commands of one type.
template <typename Command>
class Receiver {
public:
  virtual ~Receiver() = default;
  virtual unsigned executeCommand(Command& command, typename Command::Context& context) = 0;
};

// SimpleCommandRep: one execution's worth of a command: the receiver and the event's context.
template <typename Command>
class SimpleCommandRep : public CommandRep<typename Command::Context>,
                         public Qv::PooledObject<SimpleCommandRep<Command>> {
public:
  using Context = typename Command::Context;

  explicit SimpleCommandRep(Receiver<Command>* receiver, const Context& context = Context())
      : receiver_(receiver), context_(context) {}

  unsigned executeWith(const Context& context) const override {
    if (Qv::Ptr<SimpleCommandRep> filled = fill(context)) return filled->execute();
    // What has happened must be told, also while there is no memory.
    return SimpleCommandRep(receiver_, context).execute();
  }

private:
  // Null when the pool cannot grow.
  Qv::Ptr<SimpleCommandRep> fill(const Context& context) const try {
    return Qv::Ptr<SimpleCommandRep>(new SimpleCommandRep(receiver_, context));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  unsigned execute() {
    Command command(receiver_);
    return receiver_->executeCommand(command, context_);
  }

  Receiver<Command>* receiver_;
  Context context_;
};

// SmplCmd: a command of one kind (Tag) bound to its receiver.
template <typename ContextType, typename Tag, typename Traits>
class SmplCmd {
public:
  using Context = ContextType;

  explicit SmplCmd(Receiver<SmplCmd>* receiver) : receiver_(receiver) {}

  // The command as a service takes it.
  Cmd<Context, Traits> bind() const {
    return Cmd<Context, Traits>(
        Qv::Ptr<CommandRep<Context>>(new SimpleCommandRep<SmplCmd>(receiver_)));
  }

private:
  Receiver<SmplCmd>* receiver_;
};

}  // namespace QvDC
