#pragma once

// Turn: how a thing that was asked for in time stands when its time has come.
// Story      A fault excuses those that it was meant for, and nobody else; the machine excuses
//            everybody, once it has taken a good part of the time for itself.
enum class eTurn {
  eInTime,
  eLateInFault,  // a fault was under way on the very same file
  eLateInStall,  // the machine itself stood still
  eLate,
};

// How much of its time the machine must have taken to be the reason.
constexpr double kExcusingStall_ms = 500;

constexpr eTurn judgeTurn(bool isThere, bool isHit, double stalled_ms) {
  if (isThere) return eTurn::eInTime;
  if (isHit) return eTurn::eLateInFault;
  return stalled_ms >= kExcusingStall_ms ? eTurn::eLateInStall : eTurn::eLate;
}
