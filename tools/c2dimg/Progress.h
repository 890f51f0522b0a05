// Progress: a bar on stderr for a command that takes more than about a second, drawn
// only when stderr is a terminal and --quiet was not given. Work whose length is known
// shows a bar and a percentage; a library call of unknown length a spinner. One line
// at a time: the innermost piece of work under way is shown, with the time since the
// command started.
#ifndef TOOLS_C2DIMG_PROGRESS_H_
#define TOOLS_C2DIMG_PROGRESS_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace c2dimg {

class Progress {
 public:
  // Called once at start-up, which is where the time counts from; until then nothing
  // is drawn.
  static void Enable(bool enabled);

  // `total` steps of work, or 0 when their number is not known.
  Progress(std::string label, uint64_t total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  // Cheap enough to call for every row.
  void set(uint64_t done) { done_.store(done, std::memory_order_relaxed); }

 private:
  // The drawing runs on its own thread, so that a long library call is shown too.
  void Run();
  void Draw(double seconds);

  std::string label_;
  uint64_t total_;
  std::atomic<uint64_t> done_{0};
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
  bool drawn_ = false;
  std::thread thread_;
};

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_PROGRESS_H_
