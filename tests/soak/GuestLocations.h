#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Notifier.h"
#include "tests/sim/SimDice.h"
#include "tests/soak/SoakStage.h"

// GuestLocations: a location comes and goes every second.
// Story      One of several folders is added to the registry; its media is known, and whoever
//            listens for locations has heard once. Then it is removed, and nothing of it is known.
//            The only one that changes the registry: now and then it begins it anew, since
//            identifiers are not issued twice, and everything that stays is known again.
// Threads    run(): one.
class GuestLocations {
public:
  // `staying`: what is known of the stage, whatever happens.
  GuestLocations(const SoakStage& stage, uint64_t seed, const SoakHouse::Files& staying);

  void run();

private:
  // Stays with the registry for as long as the process.
  struct Listener final : iCallbackBase<int, NotifyMsg> {
    int callback(NotifyMsg message) override {
      const auto what = message.getText().view();
      ++(what == "MediaLocationsChangeMsg" ? changes : what == kSpaceTold ? updates : others);
      return 0;
    }
    static constexpr std::string_view kSpaceTold = "disk manager update";
    std::atomic<uint64_t> changes{0}, updates{0}, others{0};
  };
  static constexpr unsigned kGuests = 4;

  void come(unsigned guest);
  void go(unsigned guest);
  void beginAnew();
  void expectHeard(const char* what) const;
  static char letterOf(unsigned guest) { return static_cast<char>('A' + guest); }

  const SoakStage stage_;
  SimDice dice_;
  const SoakHouse::Files staying_;
  std::string folders_[kGuests];
  SoakHouse::Files files_[kGuests];
  Qv::Ptr<Listener> listener_;
};
