#include "bench/table/Judge.h"

#include <cstdio>

#include "bench/table/Figures.h"

namespace {

std::string text(const char* format, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

Bar judged(const std::string& what, const char* format, double value, const std::string& asked,
           bool met) {
  Bar bar = Judge::told(what, format, value);
  bar.asked = asked;
  bar.verdict = met ? Bar::eMet : Bar::eMissed;
  return bar;
}

}  // namespace

Bar Judge::atLeast(const std::string& what, const char* format, double value, double limit) {
  return judged(what, format, value, ">= " + text(format, limit), value >= limit);
}

Bar Judge::atMost(const std::string& what, const char* format, double value, double limit) {
  return judged(what, format, value, "<= " + text(format, limit), value <= limit);
}

Bar Judge::told(const std::string& what, const char* format, double value) {
  Bar bar;
  bar.what = what;
  bar.measured = text(format, value);
  bar.value = value;
  return bar;
}

Bar Judge::counted(const std::string& what, const char* format, const Probes::Outcome& outcome,
                   double most) {
  if (outcome.value) return atMost(what, format, *outcome.value, most);
  Bar bar;
  bar.what = what;
  bar.verdict = Bar::eSkipped;
  bar.note = outcome.why;
  return bar;
}

Bar Judge::share(const Row& row, const std::string& of, double least) {
  Bar bar = shareTold(row, of);
  bar.asked = ">= " + text("x %.2f", least);
  bar.verdict = bar.value >= least ? Bar::eMet : Bar::eMissed;
  return bar;
}

Bar Judge::shareTold(const Row& row, const std::string& of) {
  std::vector<double> ratios = Figures::ratios(row.engine(), row.side(of), Figures::throughput);
  Bar bar = told("throughput over " + of, "x %.3f", Statistics::median(ratios));
  if (ratios.size() > 1) bar.measured += text(" +- %.3f", Statistics::medianError(ratios));
  return bar;
}

Bar Judge::aheadOf(const Row& row, const std::vector<std::string>& sides) {
  std::string closest;
  double least = 0;
  for (const std::string& name : sides) {
    double ratio = Figures::medianRatio(row.engine(), row.side(name), Figures::throughput);
    if (!closest.empty() && ratio >= least) continue;
    closest = name;
    least = ratio;
  }
  return judged("throughput over the best of the rest, " + closest, "x %.2f", least, "> x 1",
                least > 1);
}

Bar Judge::cpu(const Row& row, double most_us) {
  return atMost("processor time", "%.1f us/MB", Figures::median(row.engine(), Figures::cpu),
                most_us);
}

Bar Judge::cpuShare(const Row& row, const std::string& of, double most) {
  double ratio = Figures::medianRatio(row.engine(), row.side(of), Figures::cpu);
  return atMost("processor time over " + of, "x %.2f", ratio, most);
}

Bar Judge::cpuShareTold(const Row& row, const std::string& of) {
  return told("processor time over " + of, "x %.2f",
              Figures::medianRatio(row.engine(), row.side(of), Figures::cpu));
}

Bar Judge::time(const Row& row, const std::string& of, double most) {
  return atMost("time over " + of, "x %.3f",
                Figures::medianRatio(row.engine(), row.side(of), Figures::seconds), most);
}

Bar Judge::timeTold(const Row& row, const std::string& of) {
  return told("time over " + of, "x %.3f",
              Figures::medianRatio(row.engine(), row.side(of), Figures::seconds));
}

Bar Judge::worstStream(const Row& row, double least) {
  return atLeast("slowest stream over the mean", "x %.2f",
                 Figures::median(row.engine(), Figures::worstStream), least);
}
