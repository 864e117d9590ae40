#pragma once

#include <cstdint>
#include <memory>

#include "fsys/CompletionInfo.h"
#include "fsys/FsysFile.h"
#include "tests/soak/Fate.h"

class Player;

// OpenClip: one opening of a clip.
struct OpenClip {
  unsigned clip = 0;
  FsysFile* file = nullptr;  // null until it is open, and after its close
};

// PlayedPicture: one picture on its way to a player, or a part of one. The context of its reads.
// Ownership  shared by the player and the request.
class PlayedPicture final : public iObject {
public:
  enum eState { eWanted, eAsked, eThere, eFailed };

  PlayedPicture(Player& player, const std::shared_ptr<OpenClip>& clip, uint64_t at, uint32_t size,
                double turn_ms)
      : owner(player), from(clip), offset(at), bytes(size), due_ms(turn_ms) {}

  Player& owner;
  const std::shared_ptr<OpenClip> from;
  const uint64_t offset;
  const uint32_t bytes;
  const double due_ms;

  // Guarded by the player's lock.
  eState state = eWanted;
  Fate fate;
  bool isHit = false;  // a struck transfer carries it
  Qv::Ptr<iMemHolder> data;
};
