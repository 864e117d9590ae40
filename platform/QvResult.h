#pragma once

#include <cstdint>

// QvResult: how an operation ended, where true and false say too little.
enum class QvResult : uint32_t {
  Failed = 0,
  OK = 1,
  NotFound = 5,
};
