// The task queue of the reading and writing thread: a small ring of task pointers, counted in
// tickets, so that posting never allocates.
#include "api/IoWorker.h"

namespace travune {

IoWorker::IoWorker() : thread_([this] { Serve(); }) {}

IoWorker::~IoWorker() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  posted_.notify_one();
  thread_.join();
}

uint64_t IoWorker::Post(Task& task) {
  std::unique_lock<std::mutex> lock(mutex_);
  finished_.wait(lock, [this] { return postedCount_ - finishedCount_ < kQueueSize; });
  queue_[postedCount_ % kQueueSize] = &task;
  const uint64_t ticket = ++postedCount_;
  lock.unlock();
  posted_.notify_one();
  return ticket;
}

void IoWorker::Wait(uint64_t ticket) {
  std::unique_lock<std::mutex> lock(mutex_);
  finished_.wait(lock, [this, ticket] { return finishedCount_ >= ticket; });
}

void IoWorker::Serve() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    posted_.wait(lock, [this] { return stopping_ || finishedCount_ < postedCount_; });
    if (finishedCount_ == postedCount_) return;
    Task* task = queue_[finishedCount_ % kQueueSize];
    lock.unlock();
    task->Run();
    lock.lock();
    ++finishedCount_;
    finished_.notify_all();
  }
}

}  // namespace travune
