#include "platform/linux/picture/WorkerTeam.h"

#include <algorithm>
#include <system_error>

namespace tandemview {

WorkerTeam::~WorkerTeam() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  called_.notify_all();
  for (std::thread& helper : helpers_) helper.join();
}

void WorkerTeam::run(std::size_t members, const std::function<void(std::size_t)>& work) {
  const std::size_t wanted = std::min(members, most_) - 1;
  if (wanted == 0) return work(0);
  startHelpers(wanted);
  {
    const std::lock_guard lock(mutex_);
    work_ = &work;
    vacancies_ = wanted;
  }
  for (std::size_t call = 0; call < wanted; ++call) called_.notify_one();
  work(0);
  std::unique_lock lock(mutex_);
  vacancies_ = 0;
  done_.wait(lock, [this] { return working_ == 0; });
}

/// Where the system has no more threads, those that are there do the work.
void WorkerTeam::startHelpers(std::size_t count) {
  try {
    while (helpers_.size() < count) helpers_.emplace_back([this] { help(); });
  } catch (const std::system_error&) {
  }
}

void WorkerTeam::help() {
  std::unique_lock lock(mutex_);
  while (true) {
    called_.wait(lock, [this] { return vacancies_ > 0 || isEnding_; });
    if (isEnding_) return;
    const std::size_t member = vacancies_--;
    ++working_;
    lock.unlock();
    (*work_)(member);
    lock.lock();
    if (--working_ == 0) done_.notify_one();
  }
}

}  // namespace tandemview
