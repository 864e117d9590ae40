#pragma once

// Room: of what threads may use for as long as the process runs, and so is never destroyed: it is
// made in its room, and asks the heap for nothing.
template <typename T>
struct Room {
  alignas(T) unsigned char bytes[sizeof(T)];
};
