#include <new>

#include "platform/OS.h"

CompletionPortHandler::CompletionPortHandler(const char* name, CompletionCommand& command,
                                             int waiting, int running, int queued, int kept)
    : port_(OS()->getAsyncIo()->createPort(name, command, waiting, running, queued, kept)) {
  if (!port_) throw std::bad_alloc();
}

CompletionPortHandler::~CompletionPortHandler() = default;

void CompletionPortHandler::setErrand(const Qv::Ptr<iTask>& errand) { port_->setErrand(errand); }

bool CompletionPortHandler::sendOnErrand() { return port_->sendOnErrand(); }
