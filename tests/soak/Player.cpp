#include "tests/soak/Player.h"

#include <algorithm>
#include <chrono>
#include <shared_mutex>

#include "fsys/Fsys.h"
#include "fsys/MemBlock.h"
#include "tests/soak/PatternFile.h"
#include "tests/soak/PictureSizes.h"
#include "tests/support/Pattern.h"

namespace {

constexpr uint32_t kSkipPercent = 1;
constexpr uint32_t kPartPercent = 2;
constexpr uint32_t kCutOneIn = 500;  // pictures
constexpr uint32_t kMostSkipped = 10;
constexpr uint32_t kSector = 4096;
constexpr double kUnanswered_ms = 60'000;
constexpr std::chrono::seconds kUntold(60);

void toldPicture(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  auto& picture = static_cast<PlayedPicture&>(*context);
  picture.owner.told(picture, data, status);
}

bool isTransferOf(SoakFault kind) {
  return kind >= SoakFault::eReadFails && kind <= SoakFault::eReadSlow;
}

}  // namespace

Player::Player(const SoakStage& stage, const Part& part)
    : SoakVictim(stage.clock, "player " + std::to_string(part.number)),
      stage_(stage),
      part_(part),
      dice_(part.seed) {}

std::string Player::cookieOf(unsigned clip) const {
  return SoakHouse::cookieText('P', uint64_t{part_.number} * kClips + clip);
}

bool Player::makeClips(const std::string& folder) const {
  for (unsigned clip = 0; clip < kClips; ++clip)
    if (!makePatternFile(folder + "/Material/" + nameOf(clip), clipBytes(),
                         SoakHouse::seedOf(cookieOf(clip))))
      return false;
  return true;
}

void Player::addKnown(const std::string& folder, SoakHouse::Files& files) const {
  for (unsigned clip = 0; clip < kClips; ++clip)
    files[cookieOf(clip)] = {folder + "/Material/" + nameOf(clip), clipBytes()};
}

void Player::found(const std::string& what) const { stage_.findings.add(name() + ": " + what); }

// Faults ------------------------------------------------------------------------------------------

// Where pictures are merged, who is behind a file's end depends on whom they were merged with.
bool Player::mayMeet(SoakFault kind) const {
  return kind <= SoakFault::eOpenRefused &&
         (kind != SoakFault::eReadEndsEarly || part_.coalesceBytes == 0);
}

bool Player::isOwn(const FaultPlace& place) const {
  if (!place.path) return false;
  const auto slash = place.path->view().rfind(L'/');
  for (unsigned clip = 0; clip < kClips; ++clip)
    if (place.path->view().substr(slash + 1) == SoakHouse::wide(nameOf(clip)).view()) return true;
  return false;
}

// Pictures of no two players have the same size.
bool Player::isMeantLocked(const FaultPlace& place) const {
  if (isCutting_) return false;
  if (kind_ == SoakFault::eBlockRefused || kind_ == SoakFault::eNoBlock)
    return place.bytes == part_.pictureBytes + MemBlock::kExtraBytes && !hasFailed_;
  return kind_ != SoakFault::eKinds && isOwn(place);
}

void Player::struckLocked(const FaultPlace& place) {
  if (kind_ == SoakFault::eNoBlock)
    for (PlayedPicture* picture : asked_) picture->fate.end = Fate::eAny;
  if (kind_ == SoakFault::eOpenRefused) openIsHit_ = true;
  if (!isTransferOf(kind_)) return;
  const uint64_t end = place.offset + place.bytes;
  for (PlayedPicture* picture : asked_) {
    const bool isCarried =
        picture->offset >= place.offset && picture->offset + picture->bytes <= end &&
        place.path->view().ends_with(SoakHouse::wide(nameOf(picture->from->clip)).view());
    if (isCarried) picture->fate = Fate::ofStruck(kind_, fault_, place, picture->offset);
    picture->isHit |= isCarried;
  }
}

bool Player::isOverLocked() const {
  switch (kind_) {
    case SoakFault::eBlockRefused:
      return strikesLeft_ == 0;
    case SoakFault::eNoBlock:
      return hasFailed_;
    case SoakFault::eOpenRefused:
      return true;
    default:
      return std::none_of(asked_.begin(), asked_.end(),
                          [](const PlayedPicture* picture) { return picture->isHit; });
  }
}

// Telling -----------------------------------------------------------------------------------------

void Player::told(PlayedPicture& picture, const Qv::Ptr<iMemHolder>& data, RequestStatus status) {
  std::lock_guard lock(lock_);
  const std::string which =
      "the picture at " + std::to_string(picture.offset) + " of " + nameOf(picture.from->clip);
  const bool isThere = status == eRequestSucceeded;
  if (picture.state != PlayedPicture::eAsked) return found(which + " was told of twice");
  std::erase(asked_, &picture);
  if (asked_.empty()) allTold_.notify_all();
  picture.state = isThere ? PlayedPicture::eThere : PlayedPicture::eFailed;
  if (isThere && picture.fate.end == Fate::eFails)
    found(which + " was hit by a fault and told as right");
  if (!isThere && picture.fate.end == Fate::eWell)
    found(which + ", " + std::to_string(picture.bytes) + " bytes, failed without a fault: error " +
          std::to_string(FsysGetLastError()));
  if (isThere != bool(data)) found(which + (data ? " failed and has data" : " has no data"));
  if (isThere && data && data->getSize() != picture.bytes) found(which + " has another size");
  if (isThere) picture.data = data;
  if (isThere) return;
  hasFailed_ = true;
  ++stage_.tally.failuresTold;
}

// Playing -----------------------------------------------------------------------------------------

void Player::run() {
  double turn_ms = clock_.now_ms();
  for (; stage_.clock.waitUntil(turn_ms); turn_ms += kPicture_ms) {
    turn(turn_ms);
    if (dice_.below(kCutOneIn) != 0 || !mayCut()) continue;
    cut();
    turn_ms = clock_.now_ms();
  }
  finish();
}

// What is thrown at a turn does not depend on what was thrown before: one that is late or hit by a
// fault goes on as it would have.
void Player::turn(double now_ms) {
  dice_ = SimDice(SimDice(part_.seed + ++turns_).next());
  if (moveOn()) want(now_ms + kAhead_ms);
  askWanted();
  show(now_ms);
  checkBelated(now_ms);
  closeIdle();
}

// Pictures of a clip are asked for in their order, and a clip is begun anew when none of it is on
// its way: none is on its way twice. False: nothing can be asked for at this turn.
bool Player::moveOn() {
  const unsigned other = (clip_ + 1) % kClips;
  const bool isMovingOn = current_ && ++position_ < kClipPictures;
  if (isMovingOn && dice_.chance(kSkipPercent))
    position_ = std::min(position_ + dice_.between(1, kMostSkipped), kClipPictures - 1);
  if (isMovingOn && !dice_.chance(kSkipPercent)) return true;
  if (isAwaited(other)) return isMovingOn;
  goTo(other, dice_.below(kClipPictures / 2));
  return true;
}

void Player::goTo(unsigned clip, uint32_t picture) {
  clip_ = clip;
  position_ = picture;
  current_ = std::make_shared<OpenClip>(OpenClip{clip, nullptr});
  open_.push_back(current_);
}

// Whether a picture of that clip is still to come.
bool Player::isAwaited(unsigned clip) const {
  const auto isAwaitedPicture = [clip](const Picture& picture) {
    return picture->from->clip == clip && picture->state != PlayedPicture::eThere;
  };
  std::lock_guard lock(lock_);
  return std::any_of(line_.begin(), line_.end(), isAwaitedPicture) ||
         std::any_of(belated_.begin(), belated_.end(), isAwaitedPicture);
}

void Player::want(double due_ms) {
  const uint64_t offset = uint64_t{position_} * part_.pictureBytes;
  line_.emplace_back(new PlayedPicture(*this, current_, offset, part_.pictureBytes, due_ms));
}

// As for a still: what was read may still be kept.
void Player::wantPartAgain(const PlayedPicture& shown, double due_ms) {
  const uint32_t sectors = shown.bytes / kSector;
  const uint32_t first = dice_.below(sectors);
  const uint32_t bytes = PictureSizes::notAPicture(kSector * dice_.between(1, sectors - first));
  line_.emplace_back(
      new PlayedPicture(*this, shown.from, shown.offset + first * kSector, bytes, due_ms));
}

// False when it was refused; it is tried again at the next turn.
bool Player::open(OpenClip& clip) {
  LightweightString<wchar_t> path;
  {
    std::shared_lock registry(stage_.house.registry());
    const Cookie cookie(SoakHouse::wide(cookieOf(clip.clip)));
    if (!SystemCache::findFileForCookie(cookie, path, DecodeFormat(eHighRes)))
      found("the catalogue does not know " + nameOf(clip.clip));
  }
  const bool isOpen = FsysOpen(&clip.file, path, part_.coalesceBytes, 1, nullptr) == 1;
  std::lock_guard lock(lock_);
  ++stage_.tally.opens;
  const bool isRefused = std::exchange(openIsHit_, false);
  if (isOpen == isRefused)
    found(nameOf(clip.clip) + (isOpen ? " was opened though it was refused" : " cannot be opened"));
  if (isRefused) ++stage_.tally.failuresTold;
  return isOpen;
}

void Player::askWanted() {
  for (const Picture& picture : line_) {
    bool isWanted;
    {
      std::lock_guard lock(lock_);
      isWanted = picture->state == PlayedPicture::eWanted;
      if (picture->state == PlayedPicture::eFailed) {
        isWanted = true;
        ++stage_.tally.askedAgain;
      }
    }
    if (isWanted && (picture->from->file || open(*picture->from))) ask(picture);
  }
}

void Player::ask(const Picture& picture) {
  {
    std::lock_guard lock(lock_);
    picture->state = PlayedPicture::eAsked;
    picture->fate = Fate();
    picture->isHit = false;
    asked_.push_back(picture.get());
  }
  Qv::Ptr<iObject> context(picture);
  if (picture->from->file->DirectRead(static_cast<long>(picture->offset), picture->bytes, false,
                                      &toldPicture, context) == 1)
    return;
  std::lock_guard lock(lock_);
  std::erase(asked_, picture.get());
  picture->state = PlayedPicture::eWanted;
  ++stage_.tally.refused;
}

void Player::show(double now_ms) {
  while (!line_.empty() && line_.front()->due_ms <= now_ms) {
    const Picture picture = line_.front();
    line_.pop_front();
    const double asked_ms = picture->due_ms - kAhead_ms;
    bool isThere, isHit;
    {
      std::lock_guard lock(lock_);
      isThere = picture->state == PlayedPicture::eThere;
      isHit = hit_.touches(asked_ms, now_ms);
    }
    stage_.judge(name() + ": the picture at " + std::to_string(picture->offset) + " of " +
                     nameOf(picture->from->clip),
                 isThere, isHit, asked_ms, now_ms);
    if (!isThere) {
      belated_.push_back(picture);
      continue;
    }
    check(picture);
    if (picture->fate.rightBytes == Fate::kAll && dice_.chance(kPartPercent))
      wantPartAgain(*picture, now_ms + kAhead_ms);
  }
}

// It is there, and nobody else touches it any more.
void Player::check(const Picture& picture) {
  const uint64_t seed = SoakHouse::seedOf(cookieOf(picture->from->clip));
  const uint32_t right = std::min(picture->fate.rightBytes, picture->bytes);
  const unsigned char* bytes = picture->data->getBuffer();
  stage_.findings.addUnlessEmpty(name() + ", " + nameOf(picture->from->clip),
                                 whyNotPattern(bytes, right, picture->offset, seed));
  stage_.findings.addUnlessEmpty(name() + ", behind the end of " + nameOf(picture->from->clip),
                                 whyNotZeros(bytes + right, picture->bytes - right));
  picture->data.reset();
  ++stage_.tally.pictures;
  stage_.tally.pictureBytes += picture->bytes;
}

void Player::checkBelated(double now_ms) {
  std::erase_if(belated_, [&](const Picture& picture) {
    PlayedPicture::eState state;
    {
      std::lock_guard lock(lock_);
      state = picture->state;
    }
    if (state == PlayedPicture::eThere) check(picture);
    const bool isAsked = state == PlayedPicture::eAsked;
    const bool isLost = isAsked && now_ms > picture->due_ms + kUnanswered_ms;
    if (isLost) found("nobody was told of the picture at " + std::to_string(picture->offset));
    return !isAsked || isLost;
  });
}

// Closing -----------------------------------------------------------------------------------------

void Player::close(OpenClip& clip) {
  if (clip.file && FsysClose(clip.file, nullptr) != 1)
    found(nameOf(clip.clip) + " cannot be closed");
  clip.file = nullptr;
}

// Those of which no picture is still to come or to be shown.
void Player::closeIdle() {
  std::erase_if(open_, [this](const std::shared_ptr<OpenClip>& clip) {
    if (clip.use_count() > 1) return false;
    close(*clip);
    return true;
  });
}

// A transfer that is held is told after the close: who waits for a fault does not cut.
bool Player::mayCut() {
  std::lock_guard lock(lock_);
  isCutting_ = kind_ == SoakFault::eKinds;
  return isCutting_;
}

// What is on its way is told as the file closes, and never after that.
void Player::cut() {
  {
    std::lock_guard lock(lock_);
    for (PlayedPicture* picture : asked_) picture->fate.end = Fate::eAny;
  }
  for (const std::shared_ptr<OpenClip>& clip : open_) close(*clip);
  ++stage_.tally.cuts;
  {
    std::lock_guard lock(lock_);
    if (!asked_.empty()) found("a file was closed, and not everybody told");
    isCutting_ = false;
  }
  checkBelated(clock_.now_ms());
  belated_.clear();
  line_.clear();
  open_.clear();
  current_.reset();
}

void Player::finish() {
  {
    std::unique_lock lock(lock_);
    if (!allTold_.wait_for(lock, kUntold, [this] { return asked_.empty(); }))
      found("somebody was not told until the end");
  }
  cut();
}
