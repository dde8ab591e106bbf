// A thread that runs a conversion's file reads and writes, one task after the other in the order
// they were posted, while the conversion's own thread formats blocks.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace travune {

class IoWorker {
 public:
  // A piece of work; the poster keeps it alive until it has waited for it.
  class Task {
   public:
    virtual void Run() = 0;

   protected:
    ~Task() = default;
  };

  // Starts the thread; throws std::system_error when none can be started.
  IoWorker();
  // Runs what was posted, then ends the thread.
  ~IoWorker();
  IoWorker(const IoWorker&) = delete;
  IoWorker& operator=(const IoWorker&) = delete;

  // Queues task behind the ones posted before and returns its ticket. Never allocates; waits
  // while the queue is full.
  uint64_t Post(Task& task);
  // Returns once the task of ticket (and every one posted before it) has run.
  void Wait(uint64_t ticket);

 private:
  void Serve();

  static constexpr size_t kQueueSize = 4;
  std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable finished_;
  std::array<Task*, kQueueSize> queue_{};
  uint64_t postedCount_ = 0;
  uint64_t finishedCount_ = 0;
  bool stopping_ = false;
  std::thread thread_;  // last: it starts once every member it uses exists
};

}  // namespace travune
