#include "tools/fsys/demo/DemoStream.h"

#include <algorithm>
#include <future>
#include <new>
#include <system_error>
#include <thread>

#include "platform/Clocks.h"
#include "tools/fsys/Command.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr double kUsPerMs = 1000;
constexpr double kMegabyte = 1e6;
constexpr double kLeadIn_ms = 300;  // from the first request to the first picture's turn

// Threads: those of the shows. They wait until all of them are there, and end with this.
class Threads {
public:
  explicit Threads(const std::vector<std::unique_ptr<DemoShow>>& shows) {
    std::shared_future<const DemoClock*> start = allThere_.get_future().share();
    try {
      threads_.reserve(shows.size());
      for (const auto& show : shows) {
        threads_.emplace_back([start, playing = show.get()] {
          if (const DemoClock* clock = start.get()) playing->run(*clock);
        });
      }
    } catch (const std::system_error& error) {
      run(nullptr);
      throw ToolError(ExitCode::eResources, "starting a shot's thread", "", error.code().message());
    } catch (const std::bad_alloc&) {
      run(nullptr);
      throw;
    }
  }
  // Returns when all have ended; null: they do nothing.
  void run(const DemoClock* clock) {
    allThere_.set_value(clock);
    for (std::thread& thread : threads_) thread.join();
  }

private:
  std::promise<const DemoClock*> allThere_;
  std::vector<std::thread> threads_;
};

}  // namespace

void DemoStream::run() {
  for (const auto& show : shows_) show->prepare();
  Threads threads(shows_);
  Meter meter;
  DemoClock clock{Qv::now() + kLeadIn_ms};
  threads.run(&clock);
  time_ms_ = meter.elapsed_ms() - kLeadIn_ms;
  cpu_ms_ = meter.cpu_ms();
  for (const auto& show : shows_) show->rethrow();
}

DemoFigures DemoStream::total() const {
  DemoFigures all;
  for (const auto& show : shows_) all.add(show->figures());
  return all;
}

double DemoStream::cpuPerMb_us() const {
  DemoFigures all = total();
  return std::max(cpu_ms_ - all.checking_ms, 0.0) * kUsPerMs * kMegabyte /
         static_cast<double>(std::max<uint64_t>(all.bytes, 1));
}
