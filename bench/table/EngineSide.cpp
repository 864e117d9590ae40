#include "bench/table/EngineSide.h"

#include <fcntl.h>

#include <atomic>

#include "bench/table/Arrival.h"
#include "bench/table/Descriptor.h"
#include "bench/table/EngineFile.h"
#include "bench/table/Holder.h"
#include "bench/table/IdleFiles.h"
#include "bench/table/ReadStream.h"
#include "bench/table/Stamp.h"
#include "bench/table/Trips.h"
#include "bench/table/WriteStream.h"

namespace {

constexpr uint64_t kHitStep = 3000;  // less than a piece, and no boundary of anything

void makeDurable(const std::string& path, Round& round) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (fsync(file.get()) != 0) ++round.wrong;
}

// Slot: a holder whose bytes are written again and again, one write at a time.
struct Slot {
  explicit Slot(uint32_t bytes) : data(makeHolder(bytes)), context(new Arrival) {}
  Arrival* arrival() const { return static_cast<Arrival*>(context.get()); }
  Qv::Ptr<iMemHolder> data;
  Qv::Ptr<iObject> context;
  bool underWay = false;
};

// Counter: the context of writes that nobody waits for.
struct Counter : iObject {
  static void written(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus status) {
    if (status != eRequestSucceeded) ++static_cast<Counter*>(context.get())->failed;
  }
  std::atomic<uint64_t> failed{0};
};

bool isWithin(const iMemHolder& piece, const iMemHolder& kept, uint64_t at) {
  return piece.getBuffer() == kept.getBuffer() + at;
}

// Reads a block and waits for it, with an Arrival; false when it is not what it should be. A full
// list refuses it, and gives way as passes drop what it keeps.
bool bringsRight(const Workload& work, const EngineFile& file, uint64_t offset,
                 Qv::Ptr<iObject>& context) {
  auto* arrival = static_cast<Arrival*>(context.get());
  if (file->DirectRead(static_cast<long>(offset), work.block, false, &Arrival::come, context) != 1)
    return false;
  arrival->wait();
  Qv::Ptr<iMemHolder> data;
  data.swap(arrival->data);
  return data && Stamp::endsAreRight(data->getBuffer(), offset, work.block, work.files[0].number);
}

}  // namespace

Round EngineSide::read(const Workload& work) {
  ReadStream stream(work);
  Round round;
  stream.run(round);
  return round;
}

Round EngineSide::readAmongIdle(const Workload& work, unsigned idleFiles) {
  IdleFiles others(work.files[0].path, idleFiles);
  Round round = read(work);
  round.wrong += others.wrong();
  return round;
}

Round EngineSide::readMerged(const Workload& work) {
  FsysSetImmediateRequestHandling(false);
  Round round = read(work);
  FsysSetImmediateRequestHandling(true);
  return round;
}

Round EngineSide::write(const Workload& work) {
  const Workload::File& target = work.files[0];
  EngineFile file(target.path, work.block, 2);
  WriteStream stream(file, work);
  Round round;
  Meter meter;
  stream.run(round);
  if (!file.close()) ++round.wrong;
  makeDurable(target.path, round);
  meter.stop(round);
  round.bytes = work.bytesPerFile;
  return round;
}

Round EngineSide::writeFromOneThread(const Workload& work) {
  const Workload::File& target = work.files[0];
  EngineFile file(target.path, work.block, 2);
  std::vector<Slot> slots;
  for (unsigned i = 0; i < work.inFlight; ++i) slots.emplace_back(work.block);
  Round round;
  Meter meter;
  for (uint64_t offset = 0, turn = 0; offset < work.bytesPerFile; offset += work.block, ++turn) {
    Slot& slot = slots[turn % slots.size()];
    if (slot.underWay) slot.arrival()->wait();
    Stamp::putEnds(slot.data->getBuffer(), offset, work.block, target.number);
    slot.underWay = file->DirectWrite(slot.data, false, &Arrival::come, slot.context, false) == 1;
    round.wrong += !slot.underWay;
  }
  if (!file.close()) ++round.wrong;
  makeDurable(target.path, round);
  meter.stop(round);
  round.bytes = work.bytesPerFile;
  for (Slot& slot : slots) round.wrong += slot.arrival()->failed;
  return round;
}

Round EngineSide::writeStaged(const Workload& work, void (*around)()) {
  const Workload::File& target = work.files[0];
  EngineFile file(target.path, work.block, 2);
  Qv::Ptr<iMemHolder> byte = makeHolder(1);
  Qv::Ptr<iMemHolder> piece = makeHolder(work.block);
  Qv::Ptr<iObject> counter(new Counter);
  Round round;
  Meter meter;
  around();
  if (file->DirectWrite(byte, false, &Counter::written, counter, false) != 1) ++round.wrong;
  for (uint64_t done = 0; done < work.bytesPerFile; done += work.block) {
    Stamp::put(piece->getBuffer(), done, target.number);
    if (file->DirectWrite(piece, false, &Counter::written, counter, false) != 1) ++round.wrong;
  }
  around();
  if (!file.close()) ++round.wrong;
  makeDurable(target.path, round);
  meter.stop(round);
  round.bytes = work.bytesPerFile + 1;
  round.wrong += static_cast<Counter*>(counter.get())->failed;
  return round;
}

Round EngineSide::roundTrips(const Workload& work, const std::vector<uint64_t>& offsets) {
  EngineFile file(work.files[0].path, work.block, 1);
  Qv::Ptr<iObject> context(new Arrival);
  return makeTrips(work, offsets,
                   [&](uint64_t offset) { return bringsRight(work, file, offset, context); });
}

Round EngineSide::openings(const Workload& work, const std::vector<uint64_t>& offsets) {
  Qv::Ptr<iObject> context(new Arrival);
  return makeTrips(work, offsets, [&](uint64_t offset) {
    EngineFile file(work.files[0].path, work.block, 1);
    bool right = bringsRight(work, file, offset, context);
    return file.close() && right;
  });
}

EngineSide::Hits EngineSide::hits(const Workload& work, uint32_t piece, uint64_t count,
                                  void (*around)()) {
  const Workload::File& source = work.files[0];
  EngineFile file(source.path, work.block, 1);
  Qv::Ptr<iObject> context(new Arrival);
  auto* arrival = static_cast<Arrival*>(context.get());
  Hits hits;
  if (file->DirectRead(0, work.block, false, &Arrival::come, context) != 1) {
    ++hits.round.wrong;
    return hits;
  }
  arrival->wait();
  Qv::Ptr<iMemHolder> kept = arrival->data;
  if (!kept) {
    ++hits.round.wrong;
    return hits;
  }
  auto hit = [&](uint64_t turn) {
    uint64_t at = turn * kHitStep % (work.block - piece);
    uint32_t result =
        file->DirectRead(static_cast<long>(at), piece, false, &Arrival::come, context);
    if (result != 1) return;
    if (!arrival->wait()) return;
    ++hits.served;
    hits.copied += !arrival->data || !isWithin(*arrival->data, *kept, at);
  };
  // The request is kept only when its completion has returned: the first hits may come too early.
  uint64_t served = 0;
  for (uint64_t turn = 0; turn < 1000 && served < 100; ++turn, served = hits.served) hit(turn);
  hits.served = hits.copied = 0;

  Meter meter;
  around();
  for (uint64_t turn = 0; turn < count; ++turn) hit(turn);
  around();
  meter.stop(hits.round);
  hits.round.bytes = count * piece;
  hits.round.latencies_us.push_back(hits.round.seconds * 1e6 / static_cast<double>(count));
  if (hits.served != count) ++hits.round.wrong;
  return hits;
}
