// A reader over a fuzzer's bytes for the harnesses: numbers are taken from the front,
// and whatever is left is the payload. Reads past the end give zeros, so every input
// is a valid request.
#ifndef FUZZ_FUZZINPUT_H_
#define FUZZ_FUZZINPUT_H_

#include <cstddef>
#include <cstdint>

class FuzzInput {
 public:
  FuzzInput(const uint8_t *data, size_t size) : data_(data), size_(size) {}

  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint32_t u16() { return static_cast<uint32_t>(byte()) << 8 | byte(); }
  // A number in [lo, hi], from two bytes.
  uint32_t range(uint32_t lo, uint32_t hi) { return lo + u16() % (hi - lo + 1); }

  const uint8_t *rest() const { return data_ + pos_; }
  size_t left() const { return size_ - pos_; }
  // Takes up to n bytes of the payload.
  const uint8_t *take(size_t n, size_t *got) {
    *got = n < left() ? n : left();
    const uint8_t *p = rest();
    pos_ += *got;
    return p;
  }

 private:
  const uint8_t *data_;
  size_t size_;
  size_t pos_ = 0;
};

#endif  // FUZZ_FUZZINPUT_H_
