#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "fsys/FsysFile.h"
#include "tests/sim/SimDice.h"
#include "tests/soak/PlayedPicture.h"
#include "tests/soak/SoakStage.h"
#include "tests/soak/SoakVictim.h"

// Player: plays its clips, 25 pictures a second, for as long as the soak goes on.
// Story      At each turn it asks for the picture whose turn comes two seconds later, and shows the
//            one whose turn it is: that must be there, with every byte right. It goes on in the
//            same clip, skips some pictures, or goes to its other clip, which it looks up in the
//            catalogue and opens anew; at times it closes its files with pictures on their way and
//            begins anew. What a fault hit is asked for again. No picture is on its way twice, so
//            that it is known what each must be told.
// Threads    run(): one. Its pictures are told on any; the faults' are SoakVictim's.
// Ownership  outlives the engine.
class Player final : public SoakVictim {
public:
  static constexpr double kPicture_ms = 40;
  static constexpr double kAhead_ms = 2000;
  static constexpr uint32_t kClipPictures = 75;
  static constexpr unsigned kClips = 2;

  struct Part {
    unsigned number = 0;  // of the players
    uint32_t pictureBytes = 0;
    uint32_t coalesceBytes = 0;  // 0: each picture is a transfer of its own
    uint64_t seed = 0;
  };

  Player(const SoakStage& stage, const Part& part);

  // Makes its clips in that folder. False when the disk does not take them.
  bool makeClips(const std::string& folder) const;
  // Of its clips, for the catalogue.
  void addKnown(const std::string& folder, SoakHouse::Files& files) const;
  void run();

  uint32_t transferBytes() const override { return part_.pictureBytes; }
  bool mayMeet(SoakFault kind) const override;
  // For its pictures.
  void told(PlayedPicture& picture, const Qv::Ptr<iMemHolder>& data, RequestStatus status);

private:
  using Picture = Qv::Ptr<PlayedPicture>;

  bool isMeantLocked(const FaultPlace& place) const override;
  void struckLocked(const FaultPlace& place) override;
  bool isOverLocked() const override;
  void expectLocked() override { hasFailed_ = openIsHit_ = false; }

  std::string cookieOf(unsigned clip) const;
  std::string nameOf(unsigned clip) const { return cookieOf(clip) + ".mov"; }
  uint32_t clipBytes() const { return part_.pictureBytes * kClipPictures; }
  bool isOwn(const FaultPlace& place) const;

  void turn(double now_ms);
  bool moveOn();
  void goTo(unsigned clip, uint32_t picture);
  void want(double due_ms);
  void wantPartAgain(const PlayedPicture& shown, double due_ms);
  bool open(OpenClip& clip);
  void askWanted();
  void ask(const Picture& picture);
  void show(double now_ms);
  void check(const Picture& picture);
  void checkBelated(double now_ms);
  void closeIdle();
  void close(OpenClip& clip);
  void cut();
  bool isAwaited(unsigned clip) const;
  bool mayCut();
  void finish();
  void found(const std::string& what) const;

  const SoakStage stage_;
  const Part part_;
  SimDice dice_;

  // The player's own.
  uint64_t turns_ = 0;
  unsigned clip_ = 0;
  uint32_t position_ = 0;  // in pictures
  std::vector<std::shared_ptr<OpenClip>> open_;
  std::shared_ptr<OpenClip> current_;
  std::deque<Picture> line_;      // that are to come, in the order of their turns
  std::vector<Picture> belated_;  // whose turn has passed without them

  // Guarded by lock_.
  std::vector<PlayedPicture*> asked_;  // that have not been told
  std::condition_variable allTold_;
  bool hasFailed_ = false;  // one that a fault hit was told so
  bool isCutting_ = false;
  bool openIsHit_ = false;  // the opening that is being made
};
