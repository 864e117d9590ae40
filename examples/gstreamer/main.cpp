// Decodes a file of the catalogue with GStreamer and prints the hash of each piece of the stream,
// and of all of them; or of what is shown at given times.

#include <cinttypes>
#include <cstdio>

#include "CommandLine.h"
#include "Failure.h"
#include "Interrupt.h"
#include "MediaCatalogue.h"
#include "Pipeline.h"

namespace {

constexpr const char* kUsage =
    "usage: fsys-gstmd5 COOKIE --media FOLDER... [--project FOLDER]\n"
    "  --decode ELEMENTS  from the file's bytes to the stream, as gst-launch-1.0 takes them\n"
    "                     (decodebin ! video/x-raw)\n"
    "  --at SECONDS       what is shown then; again for more; - reads them line by line";

// Md5: of bytes that come one after the other.
class Md5 {
public:
  Md5() : sum_(g_checksum_new(G_CHECKSUM_MD5)) {}
  ~Md5() { g_checksum_free(sum_); }
  Md5(const Md5&) = delete;
  Md5& operator=(const Md5&) = delete;

  void add(const GstMapInfo& bytes) {
    g_checksum_update(sum_, bytes.data, static_cast<gssize>(bytes.size));
    count_ += bytes.size;
  }
  uint64_t count() const { return count_; }
  const char* text() const { return g_checksum_get_string(sum_); }

private:
  GChecksum* sum_;
  uint64_t count_ = 0;
};

// A line of a piece: when it begins in nanoseconds, its bytes, their hash.
void print(GstSample* sample, Md5& all) {
  GstBuffer* buffer = gst_sample_get_buffer(sample);
  GstMapInfo bytes;
  if (!gst_buffer_map(buffer, &bytes, GST_MAP_READ))
    throw Failure(Failure::eFailed, "a piece of the stream cannot be read");
  Md5 own;
  own.add(bytes);
  all.add(bytes);
  gst_buffer_unmap(buffer, &bytes);
  std::printf("%" PRIu64 ", %" PRIu64 ", %s\n", GST_BUFFER_PTS(buffer), own.count(), own.text());
  // Whoever gives the times may wait for it.
  std::fflush(stdout);
}

void run(const CommandLine& line) {
  const MediaCatalogue catalogue(line.all("--media"), line.last("--project", ""));
  Pipeline pipeline(MediaCatalogue::find(line.word()).path,
                    line.last("--decode", "decodebin ! video/x-raw"));
  Md5 all;
  line.each("--at", [&](const std::string& time) {
    const Pipeline::Sample sample = pipeline.at(CommandLine::toNumber(time));
    if (!sample) throw Failure(Failure::eFailed, "nothing is shown at " + time);
    print(sample.get(), all);
  });
  if (line.has("--at")) return;
  while (const Pipeline::Sample sample = pipeline.next()) print(sample.get(), all);
  std::printf("all, %" PRIu64 ", %s\n", all.count(), all.text());
}

}  // namespace

int main(int count, char** words) try {
  Interrupt::install();
  gst_init(nullptr, nullptr);
  run(CommandLine(count, words,
                  {{"--media", CommandLine::eValue},
                   {"--project", CommandLine::eValue},
                   {"--decode", CommandLine::eValue},
                   {"--at", CommandLine::eValue}},
                  kUsage));
  gst_deinit();
  return 0;
} catch (const Failure& failure) {
  std::fprintf(stderr, "fsys-gstmd5: %s\n", failure.what());
  return failure.code;
}
