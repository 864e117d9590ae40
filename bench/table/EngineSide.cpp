#include "bench/table/EngineSide.h"

#include <fcntl.h>

#include <atomic>
#include <chrono>
#include <semaphore>

#include "bench/table/Descriptor.h"
#include "bench/table/EngineFile.h"
#include "bench/table/ReadStream.h"
#include "bench/table/Stamp.h"
#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"

namespace {

using Clock = std::chrono::steady_clock;

double microsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

Qv::Ptr<iMemHolder> makeHolder(uint32_t bytes) {
  Qv::Ptr<iMemHolder> block(new MemBlock(bytes));
  return Qv::Ptr<iMemHolder>(new MemRef(block, 0, bytes));
}

void makeDurable(const std::string& path, Round& round) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  if (fsync(file.get()) != 0) ++round.wrong;
}

// Writer: the context of writes; says when one has ended, and counts failures.
struct Writer : iObject {
  explicit Writer(unsigned inFlight) : freeSlots(inFlight) {}
  static void written(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus status) {
    auto* writer = static_cast<Writer*>(context.get());
    if (status != eRequestSucceeded) ++writer->wrong;
    writer->freeSlots.release();
  }
  std::counting_semaphore<> freeSlots;
  std::atomic<uint64_t> wrong{0};
};

// Reader: the context of reads that are waited for one by one.
struct Reader : iObject {
  static void arrived(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data, RequestStatus status) {
    auto* reader = static_cast<Reader*>(context.get());
    reader->data = status == eRequestSucceeded ? data : nullptr;
    reader->come.release();
  }
  std::binary_semaphore come{0};
  Qv::Ptr<iMemHolder> data;
};

bool isWithin(const iMemHolder& piece, const iMemHolder& kept, uint64_t at) {
  return piece.getBuffer() == kept.getBuffer() + at;
}

}  // namespace

Round EngineSide::read(const Workload& work) {
  ReadStream stream(work);
  Round round;
  stream.run(round);
  return round;
}

// Each slot has a holder of its own, which is filled again when its write has ended.
Round EngineSide::write(const Workload& work) {
  const Workload::File& target = work.files[0];
  EngineFile file(target.path, work.block, 2);
  std::vector<Qv::Ptr<iMemHolder>> holders;
  std::vector<Qv::Ptr<iObject>> writers;
  for (unsigned i = 0; i < work.inFlight; ++i) {
    holders.push_back(makeHolder(work.block));
    writers.push_back(Qv::Ptr<iObject>(new Writer(1)));
  }
  Round round;
  Meter meter;
  for (uint64_t offset = 0, turn = 0; offset < work.bytesPerFile; offset += work.block, ++turn) {
    size_t slot = turn % work.inFlight;
    static_cast<Writer*>(writers[slot].get())->freeSlots.acquire();
    Stamp::putEnds(holders[slot]->getBuffer(), offset, work.block, target.number);
    if (file->DirectWrite(holders[slot], false, &Writer::written, writers[slot], false) != 1) {
      ++round.wrong;
      static_cast<Writer*>(writers[slot].get())->freeSlots.release();
    }
  }
  if (!file.close()) ++round.wrong;
  makeDurable(target.path, round);
  meter.stop(round);
  round.bytes = work.bytesPerFile;
  for (Qv::Ptr<iObject>& writer : writers) round.wrong += static_cast<Writer*>(writer.get())->wrong;
  return round;
}

Round EngineSide::writeStaged(const Workload& work) {
  const Workload::File& target = work.files[0];
  EngineFile file(target.path, work.block, 2);
  Qv::Ptr<iMemHolder> byte = makeHolder(1);
  Qv::Ptr<iMemHolder> piece = makeHolder(work.block);
  Qv::Ptr<iObject> writer(new Writer(0));
  Round round;
  Meter meter;
  if (file->DirectWrite(byte, false, &Writer::written, writer, false) != 1) ++round.wrong;
  for (uint64_t done = 0; done < work.bytesPerFile; done += work.block) {
    Stamp::put(piece->getBuffer(), done, target.number);
    if (file->DirectWrite(piece, false, &Writer::written, writer, false) != 1) ++round.wrong;
  }
  if (!file.close()) ++round.wrong;
  makeDurable(target.path, round);
  meter.stop(round);
  round.bytes = work.bytesPerFile + 1;
  round.wrong += static_cast<Writer*>(writer.get())->wrong;
  return round;
}

Round EngineSide::roundTrips(const Workload& work, const std::vector<uint64_t>& offsets) {
  const Workload::File& source = work.files[0];
  EngineFile file(source.path, work.block, 1);
  Qv::Ptr<iObject> context(new Reader);
  auto* reader = static_cast<Reader*>(context.get());
  Round round;
  round.latencies_us.reserve(offsets.size());
  Meter meter;
  for (uint64_t offset : offsets) {
    auto start = Clock::now();
    // A full list gives way as passes drop what it keeps.
    if (file->DirectRead(static_cast<long>(offset), work.block, false, &Reader::arrived, context) !=
        1) {
      ++round.wrong;
      continue;
    }
    reader->come.acquire();
    round.latencies_us.push_back(microsSince(start));
    if (!reader->data ||
        !Stamp::endsAreRight(reader->data->getBuffer(), offset, work.block, source.number))
      ++round.wrong;
    reader->data.reset();
    round.bytes += work.block;
  }
  meter.stop(round);
  return round;
}

EngineSide::Hits EngineSide::hits(const Workload& work, uint32_t piece, uint64_t count,
                                  void (*around)()) {
  const Workload::File& source = work.files[0];
  EngineFile file(source.path, work.block, 1);
  Qv::Ptr<iObject> context(new Reader);
  auto* reader = static_cast<Reader*>(context.get());
  Hits hits;
  if (file->DirectRead(0, work.block, false, &Reader::arrived, context) != 1) {
    ++hits.round.wrong;
    return hits;
  }
  reader->come.acquire();
  Qv::Ptr<iMemHolder> kept = reader->data;
  if (!kept) {
    ++hits.round.wrong;
    return hits;
  }
  auto hit = [&](uint64_t turn) {
    uint64_t at = turn * piece % work.block;
    uint32_t result =
        file->DirectRead(static_cast<long>(at), piece, false, &Reader::arrived, context);
    if (result != 1) return;
    if (!reader->come.try_acquire()) {
      reader->come.acquire();
      return;
    }
    ++hits.served;
    hits.copied += !reader->data || !isWithin(*reader->data, *kept, at);
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
