// The row coder against a plain byte-by-byte model of greedy delta-row coding, over
// rows long enough to span several mask passes and over every payload limit.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Image/Core2DImage.h"
#include "Image/tile/internal/DeltaRowCoder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Coder = c2d::DeltaRowCoder<Img1TileIterator>;

// The commands of `row` against `seed`, and the payload length after each command.
Bytes ModelPayload(const Bytes &seed, const Bytes &row, std::vector<size_t> &ends) {
  Bytes out;
  for (size_t i = 0, previousEnd = 0; i < row.size();) {
    if (seed[i] == row[i]) {
      ++i;
      continue;
    }
    size_t run = 0;
    while (run < 8 && i + run < row.size() && seed[i + run] != row[i + run]) {
      ++run;
    }
    const size_t offset = i - previousEnd;
    out.push_back(static_cast<uint8_t>((run - 1) << 5 | std::min<size_t>(offset, 31)));
    if (offset >= 31) {
      size_t rest = offset - 31;
      for (; rest >= 255; rest -= 255) {
        out.push_back(0xFF);
      }
      out.push_back(static_cast<uint8_t>(rest));
    }
    out.insert(out.end(), row.begin() + i, row.begin() + i + run);
    previousEnd = i += run;
    ends.push_back(out.size());
  }
  return out;
}

// Capacities at and just past each command's end (every 16th on wide rows): a
// command that would bring the payload to the capacity fails the row, and the
// commands before it stand.
TEST(DeltaRowCoderTest, MatchesAPlainModelAtEveryPayloadLimit) {
  std::mt19937 rng(1616);
  for (int t = 0; t < 240; ++t) {
    // Runs begin and go on by chance: short gaps and runs of every length, and on
    // some wide rows gaps past the short and one-byte offsets.
    const bool wide = t % 6 == 0;
    const size_t rowBytes = 1 + rng() % (wide ? 9000 : 700);
    const unsigned begin = rng() % 16, goOn = rng() % 64, scale = t % 12 == 0 ? 4096 : 64;
    Bytes seed(rowBytes), row(rowBytes);
    bool changing = false;
    for (size_t i = 0; i < rowBytes; ++i) {
      seed[i] = static_cast<uint8_t>(rng());
      changing = changing ? rng() % 64 < goOn : rng() % scale < begin;
      row[i] = static_cast<uint8_t>(seed[i] ^ (changing ? 1 + rng() % 255 : 0));
    }
    std::vector<size_t> ends;
    const Bytes model = ModelPayload(seed, row, ends);
    std::vector<size_t> limits{model.size() + 1};
    for (size_t k = 0; k < ends.size(); k += wide ? 16 : 1) {
      limits.insert(limits.end(), {ends[k], ends[k] + 1});
    }
    for (const size_t limit : limits) {
      Bytes payload(limit), out(model.size() + 32);
      uint32_t length = 0;
      const bool ok = Coder::outputRTLForRow(
          {out.data(), static_cast<uint32_t>(out.size()), length}, seed.data(), row.data(),
          payload.data(), limit, static_cast<unsigned>(rowBytes));
      ASSERT_EQ(ok, limit > model.size()) << t << " " << limit;
      if (ok) {
        const std::string head = "\x1B*b" + std::to_string(model.size()) + "W";
        ASSERT_EQ(length, head.size() + model.size()) << t;
        ASSERT_TRUE(std::equal(head.begin(), head.end(), out.begin())) << t;
        ASSERT_TRUE(std::equal(model.begin(), model.end(), out.begin() + head.size())) << t;
        continue;
      }
      const auto failing = std::lower_bound(ends.begin(), ends.end(), limit);
      const size_t stands = failing == ends.begin() ? 0 : failing[-1];
      ASSERT_EQ(length, 0u) << t;
      ASSERT_TRUE(std::equal(model.begin(), model.begin() + stands, payload.begin()))
          << t << " " << limit;
    }
  }
}

}  // namespace
