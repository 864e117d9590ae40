#include "platform/OS.h"

uint32_t co_create(unsigned (*entry)(void*), const char* name, int, void* argument, int, int) {
  return OS()->getThreads()->create(entry, name, argument);
}

void co_kill(uint32_t id) { OS()->getThreads()->kill(id); }
