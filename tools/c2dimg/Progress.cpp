// The progress bar of c2dimg.
#include "Progress.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace c2dimg {
namespace {

bool sEnabled = false;
std::chrono::steady_clock::time_point sStart;
// The pieces of work under way, innermost last; only that one draws.
std::mutex sActiveMutex;
std::vector<const Progress *> sActive;

constexpr auto kDelay = std::chrono::milliseconds(1000);
constexpr auto kTick = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;

}  // namespace

void Progress::Enable(bool enabled) {
  sEnabled = enabled;
  sStart = std::chrono::steady_clock::now();
}

Progress::Progress(std::string label, uint64_t total) : label_(std::move(label)), total_(total) {
  if (sEnabled) {
    {
      std::lock_guard<std::mutex> lock(sActiveMutex);
      sActive.push_back(this);
    }
    thread_ = std::thread([this] { Run(); });
  }
}

Progress::~Progress() {
  if (!thread_.joinable()) {
    return;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wake_.notify_all();
  thread_.join();
  {
    std::lock_guard<std::mutex> lock(sActiveMutex);
    sActive.erase(std::find(sActive.begin(), sActive.end(), this));
  }
  if (drawn_) {
    // Leave the line clean for whatever is printed next.
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
  }
}

void Progress::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (wake_.wait_until(lock, sStart + kDelay, [this] { return stop_; })) {
    return;
  }
  do {
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - sStart;
    std::lock_guard<std::mutex> active(sActiveMutex);
    if (!sActive.empty() && sActive.back() == this) {
      Draw(elapsed.count());
    }
  } while (!wake_.wait_for(lock, kTick, [this] { return stop_; }));
}

void Progress::Draw(double seconds) {
  char line[256];
  if (total_ == 0) {
    static const char kSpin[] = "|/-\\";
    std::snprintf(line, sizeof line, "\rc2dimg: %s %c %.1f s", label_.c_str(),
                  kSpin[static_cast<int>(seconds * 10) % 4], seconds);
  } else {
    const uint64_t done = std::min(done_.load(std::memory_order_relaxed), total_);
    const int filled = static_cast<int>(done * kBarWidth / total_);
    char bar[kBarWidth + 1];
    for (int i = 0; i < kBarWidth; ++i) {
      bar[i] = i < filled ? '#' : '.';
    }
    bar[kBarWidth] = '\0';
    std::snprintf(line, sizeof line, "\rc2dimg: %s [%s] %3d%% %.1f s", label_.c_str(), bar,
                  static_cast<int>(done * 100 / total_), seconds);
  }
  std::fputs(line, stderr);
  std::fflush(stderr);
  drawn_ = true;
}

}  // namespace c2dimg
