#include "tests/soak/Audience.h"

namespace {

constexpr size_t kMost = 4;
constexpr uint32_t kShortest_ms = 200, kLongest_ms = 1200;

const int* const kTypes[] = {&SystemCache::fileAddedMsgType_, &SystemCache::fileRemovedMsgType_,
                             &SystemCache::proxyAddedMsgType_};

}  // namespace

void Audience::run() {
  while (stage_.clock.waitFor(dice_.between(kShortest_ms, kLongest_ms))) {
    come();
    if (here_.size() > kMost) goOldest();
  }
  while (!here_.empty()) goOldest();
}

void Audience::come() {
  NewsLog& news = stage_.house.news();
  Stayed stayed{Qv::Ptr<NewsListener>(new NewsListener(stage_.findings)), {}};
  stayed.stay.beforeComing = news.moment();
  for (const int* type : kTypes) SystemCache::instance().add(*type, stayed.listener);
  stayed.stay.afterComing = news.moment();
  here_.push_back(stayed);
  ++stage_.tally.listeners;
}

void Audience::goOldest() {
  NewsLog& news = stage_.house.news();
  Stayed stayed = here_.front();
  here_.pop_front();
  stayed.stay.beforeGoing = news.moment();
  for (const int* type : kTypes)
    if (!SystemCache::instance().remove(*type, stayed.listener))
      stage_.findings.add("a listener was not there any more");
  stayed.stay.afterGoing = news.moment();
  const std::vector<NewsLog::Item> heard = stayed.listener->heard();
  stage_.findings.addUnlessEmpty("a listener", news.whyNotHeard(stayed.stay, heard));
  stage_.tally.heard += heard.size();
  news.forgetBefore(here_.empty() ? news.moment() : here_.front().stay.beforeComing);
}
