// Prints the hash of each frame of a file of the catalogue, or of the pictures at given times.

#include <cstdio>
#include <memory>

#include "AvError.h"
#include "CommandLine.h"
#include "FrameHash.h"
#include "FsysAvio.h"
#include "Interrupt.h"
#include "MediaCatalogue.h"
#include "platform/Clocks.h"

namespace {

constexpr const char* kUsage =
    "usage: fsys-framemd5 COOKIE --media FOLDER... [--project FOLDER]\n"
    "  --sound        its sound, instead of its pictures\n"
    "  --at SECONDS   the picture that is shown then; again for more; - reads them line by line\n"
    "  --patience MS  how long a picture may take before it is given up\n"
    "  --rate N       pictures a second of a sequence (25)\n"
    "  --threads N    of the decoder (1)\n"
    "  --stats        how many blocks were asked for, and how many of these the engine had";

// Limit: what libavformat is to be interrupted for: Ctrl-C, and the end of the patience.
struct Limit {
  double patience_ms = 0;  // 0: for ever
  double deadline_ms = 0;  // 0: none now

  bool isOver() const { return deadline_ms > 0 && Qv::now() > deadline_ms; }
  static int ask(void* limit) {
    return Interrupt::isRequested() || static_cast<Limit*>(limit)->isOver() ? 1 : 0;
  }
};

struct FrameEnd {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameEnd>;

// One run of the program.
class Run {
public:
  explicit Run(const CommandLine& line)
      : line_(line),
        catalogue_(line.all("--media"), line.last("--project", "")),
        input_(MediaCatalogue::find(line.word()), line.last("--rate", "25"),
               {&Limit::ask, &limit_}),
        decoder_(input_, line.has("--sound") ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO,
                 static_cast<int>(line.number("--threads", 1))),
        hash_(decoder_),
        frame_(av_frame_alloc()) {
    if (!frame_) throw avFailure("making a frame", AVERROR(ENOMEM));
    limit_.patience_ms = line.number("--patience", 0);
  }

  int go() {
    if (line_.has("--at"))
      line_.each("--at", [this](const std::string& time) { show(time); });
    else
      play();
    if (line_.has("--stats") && input_.context()) {
      const FsysReader& reader = FsysAvio::reader(input_.context());
      std::fprintf(stderr, "%u blocks asked for, %u of them from what was read before\n",
                   reader.blocksAsked(), reader.cacheHits());
    }
    if (decoder_.damaged() > 0)
      throw Failure(Failure::eFailed, input_.name() + ": broken in " +
                                          std::to_string(decoder_.damaged()) + " places");
    return isWhole_ ? 0 : Failure::eFailed;
  }

private:
  void print(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) != 0) throw Failure(Failure::eFailed, "standard output is closed");
  }

  void play() {
    int result = decoder_.next(frame_.get());
    if (result == 0) print(hash_.header(*frame_));
    for (; result == 0; result = decoder_.next(frame_.get())) print(hash_.line(*frame_));
    if (result != AVERROR_EOF) throw avFailure("reading " + input_.name(), result);
  }

  // What cannot be shown is told, and the next one is tried.
  void show(const std::string& time) {
    limit_.deadline_ms = limit_.patience_ms > 0 ? Qv::now() + limit_.patience_ms : 0;
    const int result = decoder_.show(CommandLine::toNumber(time), frame_.get());
    const bool isLate = result == AVERROR_EXIT && limit_.isOver();
    limit_.deadline_ms = 0;
    if (result == 0) return print(hash_.line(*frame_));
    if (Interrupt::isRequested()) return;
    isWhole_ = false;
    const std::string why = result == AVERROR_EOF ? "no picture is shown then"
                            : isLate              ? "it takes too long"
                                                  : avFailure("reading", result).what();
    std::fprintf(stderr, "fsys-framemd5: %s at %s: %s\n", input_.name().c_str(), time.c_str(),
                 why.c_str());
  }

  const CommandLine& line_;
  Limit limit_;
  MediaCatalogue catalogue_;
  MediaInput input_;
  StreamDecoder decoder_;
  FrameHash hash_;
  const Frame frame_;
  bool isWhole_ = true;
};

}  // namespace

int main(int count, char** words) try {
  Interrupt::install();
  av_log_set_level(AV_LOG_ERROR);
  const CommandLine line(count, words,
                         {{"--media", CommandLine::eValue},
                          {"--project", CommandLine::eValue},
                          {"--sound", CommandLine::eNothing},
                          {"--at", CommandLine::eValue},
                          {"--patience", CommandLine::eValue},
                          {"--rate", CommandLine::eValue},
                          {"--threads", CommandLine::eValue},
                          {"--stats", CommandLine::eNothing}},
                         kUsage);
  if (line.has("--sound") && line.has("--at"))
    throw Failure(Failure::eUsage, "--at is for pictures");
  return Run(line).go();
} catch (const Failure& failure) {
  std::fprintf(stderr, "fsys-framemd5: %s\n", failure.what());
  return failure.code;
}
