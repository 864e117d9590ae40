#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "fsys/FsysFile.h"
#include "tests/sim/SimDice.h"
#include "tests/soak/RecordedShot.h"
#include "tests/soak/SoakStage.h"
#include "tests/soak/SoakVictim.h"

// ShotRecorder: records shots, 25 chunks a second, for as long as the soak goes on.
// Story      A shot is recorded under a name that no scan takes for media; what a fault hit is
//            written anew; its end is no whole sector. It is closed, gets its name, and the
//            catalogue is told of it or finds it by a scan; then every byte is read back and
//            compared. The last few are kept; the oldest goes through the catalogue, with what lies
//            beside it. At the end all go.
// Threads    run(): one. Its chunks are told on any; the faults' are SoakVictim's.
// Ownership  outlives the engine.
class ShotRecorder final : public SoakVictim {
public:
  static constexpr double kChunk_ms = 40;
  static constexpr double kInTime_ms = 2000;

  struct Part {
    unsigned number = 0;  // of the recorders
    uint32_t chunkBytes = 0;
    uint64_t seed = 0;
    std::string toldDrive, foundDrive;  // locations of its own
  };

  ShotRecorder(const SoakStage& stage, const Part& part);

  void run();

  uint32_t transferBytes() const override { return part_.chunkBytes; }
  bool mayMeet(SoakFault kind) const override;
  // For its chunks.
  void told(ShotChunk& chunk, const Qv::Ptr<iMemHolder>& data, RequestStatus status);

private:
  using Chunk = Qv::Ptr<ShotChunk>;
  enum ePhase { eIdle, eOpening, eStreaming, eHolding, eDeleting };

  bool isMeantLocked(const FaultPlace& place) const override;
  void struckLocked(const FaultPlace& place) override;
  bool isOverLocked() const override;
  void expectLocked() override { callIsHit_ = false; }

  // One shot (ShotRecorder.cpp).
  RecordedShot plan();
  void record(RecordedShot shot);
  FsysFile* open(const RecordedShot& shot);
  void stream(RecordedShot& shot, FsysFile* file);
  void write(RecordedShot& shot, FsysFile* file, uint32_t bytes);
  void ask(FsysFile* file, const Chunk& chunk, const RecordedShot& shot);
  void judge(double now_ms);
  void repair(const RecordedShot& shot, FsysFile* file);
  bool waitUntilTold();
  void sendHeld(FsysFile* file);
  void enter(ePhase phase, const std::string& path);
  bool leave();

  // The catalogue (ShotRecorderCatalogue.cpp).
  void publish(const RecordedShot& shot);
  void tellOf(const RecordedShot& shot);
  void findByScan(const RecordedShot& shot);
  void lookUp(const RecordedShot& shot);
  void readBack(const RecordedShot& shot);
  void removeOldest();
  void removeAgain(const RecordedShot& shot);
  void expectNothingLeft();
  Cookie cookieOf(const RecordedShot& shot) const;
  NewsLog::Item news(int type, const RecordedShot& shot) const { return {type, shot.cookie}; }
  MaterialFilename filename(const RecordedShot& shot, const std::string& name) const;
  void found(const RecordedShot& shot, const std::string& what) const;

  const SoakStage stage_;
  const Part part_;
  SimDice dice_;

  // The recorder's own.
  uint64_t shots_ = 0;
  std::deque<RecordedShot> kept_;  // the oldest first
  std::vector<Chunk> chunks_;      // of the shot that is being recorded

  // Guarded by lock_.
  ePhase phase_ = eIdle;
  std::string phasePath_;  // what is opened, written or deleted
  unsigned onTheWay_ = 0;  // chunks that have not been told
  std::condition_variable allTold_;
  bool callIsHit_ = false;  // an opening, what is held, or a deletion
};
