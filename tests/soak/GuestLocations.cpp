#include "tests/soak/GuestLocations.h"

#include <fstream>

namespace {

constexpr double kHalf_ms = 500;
constexpr unsigned kFiles = 50;
// Of the 207 identifiers that there are, some are in use.
constexpr unsigned kTurnsOfOneRegistry = 60;
constexpr char kStageLetter = 'P';
constexpr uint64_t kBytes = 5;

}  // namespace

GuestLocations::GuestLocations(const SoakStage& stage, uint64_t seed,
                               const SoakHouse::Files& staying)
    : stage_(stage), dice_(seed), staying_(staying), listener_(new Listener) {
  for (unsigned guest = 0; guest < kGuests; ++guest) {
    folders_[guest] = stage_.house.makeFolder("guest" + std::to_string(guest));
    for (unsigned i = 0; i < kFiles; ++i) {
      const std::string cookie = SoakHouse::cookieText(letterOf(guest), i);
      const std::string path = folders_[guest] + "/Material/" + cookie + ".mov";
      std::ofstream(path, std::ios::binary) << "media";
      files_[guest][cookie] = {path, kBytes};
    }
  }
  listener_->changes = stage_.house.changes();
  DiskManager::addListener(listener_);
}

void GuestLocations::run() {
  double turn_ms = stage_.clock.now_ms();
  for (unsigned turn = 1; stage_.clock.waitUntil(turn_ms); ++turn, turn_ms += 2 * kHalf_ms) {
    const unsigned guest = dice_.below(kGuests);
    come(guest);
    (void)stage_.clock.waitUntil(turn_ms + kHalf_ms);
    go(guest);
    if (turn % kTurnsOfOneRegistry == 0) beginAnew();
  }
}

void GuestLocations::come(unsigned guest) {
  if (!stage_.house.add(folders_[guest])) stage_.findings.add("a location cannot be added");
  if (!SoakHouse::driveOf(folders_[guest]).valid())
    stage_.findings.add("a location that was added is not registered");
  stage_.findings.addUnlessEmpty("a location that came",
                                 SoakHouse::whyNotKnown(letterOf(guest), files_[guest]));
  expectHeard("came");
  ++stage_.tally.locations;
}

void GuestLocations::go(unsigned guest) {
  if (!stage_.house.remove(folders_[guest])) stage_.findings.add("a location cannot be removed");
  if (SoakHouse::driveOf(folders_[guest]).valid())
    stage_.findings.add("a location that was removed is registered");
  stage_.findings.addUnlessEmpty("a location that went",
                                 SoakHouse::whyNotKnown(letterOf(guest), {}));
  expectHeard("went");
}

void GuestLocations::beginAnew() {
  stage_.house.beginAnew();
  stage_.findings.addUnlessEmpty("the registry that began anew",
                                 SoakHouse::whyNotKnown(kStageLetter, staying_));
  ++stage_.tally.beginnings;
  expectHeard("began anew");
}

// Of each change once, and of the space as often as the registry began anew.
void GuestLocations::expectHeard(const char* what) const {
  const uint64_t updates = listener_->updates, begun = stage_.tally.beginnings;
  if (listener_->changes == stage_.house.changes() && updates == begun && listener_->others == 0)
    return;
  stage_.findings.add(std::string("as a location ") + what + " a listener had heard of " +
                      std::to_string(listener_->changes) + " changes, not " +
                      std::to_string(stage_.house.changes()) + ", and " + std::to_string(updates) +
                      " times of the space, not " + std::to_string(begun));
}
