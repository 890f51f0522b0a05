// An HP-RTL raster reader written from the general definition of the format, not
// from the library's coder, so that c2dimg can show a job again and the tile tests
// can check the library's streams: escape sequences are parsed and the device
// commands skipped; raster rows come raw (mode 0) or as delta rows (mode 3), each
// delta command a byte whose high 3 bits are the count less 1 and whose low 5 bits
// the offset, 31 going on with bytes added while they are 255.
#ifndef TOOLS_C2DIMG_RTLDECODE_H_
#define TOOLS_C2DIMG_RTLDECODE_H_

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

namespace c2dimg {
namespace rtl {

using Bytes = std::vector<uint8_t>;

struct Decoded {
  std::vector<Bytes> rows;
  // Where the stream breaks the rules or codes a row other than as short as the
  // greedy coder would: empty when it keeps them all.
  std::string fault;
  uint32_t width = 0;   // ESC*r#S, pixels
  uint32_t height = 0;  // ESC*r#T, rows
  uint32_t dpi = 0;     // ESC*t#R
  bool colour = false;  // an ESC*v#W configuration was seen
};

// Decodes one delta payload against `seed` into `row` (row.size() bytes), checking
// what a round trip cannot see: every replaced byte differs from the seed, a run
// under 8 is never followed at once by another (it would have stopped at an equal
// byte or the row's end), and a continuation ends inside the payload. Offsets have
// one coding each, so the short form is always used below 31.
inline std::string DecodeDelta(const uint8_t *p, size_t n, const Bytes &seed, Bytes &row,
                               bool strict) {
  row = seed;
  size_t at = 0;
  size_t i = 0;
  size_t lastRun = 8;
  while (i < n) {
    const std::string where = " at payload byte " + std::to_string(i);
    const size_t count = (p[i] >> 5) + 1;
    size_t offset = p[i++] & 31u;
    for (uint8_t more = offset == 31 ? 255 : 0; more == 255; offset += more) {
      if (i == n) {
        return "continuation runs off the payload" + where;
      }
      more = p[i++];
    }
    if (strict && offset == 0 && lastRun < 8) {
      return "run of " + std::to_string(lastRun) + " cut short" + where;
    }
    at += offset;
    for (size_t k = 0; k < count; ++k, ++at, ++i) {
      if (i == n) {
        return "run runs off the payload" + where;
      }
      if (at < row.size()) {
        if (strict && p[i] == seed[at]) {
          return "replaced byte equals the seed" + where;
        }
        row[at] = p[i];
      }
    }
    lastRun = count;
  }
  return "";
}

// Decodes a stream. rowBytes 0 takes the row size from ESC*r#S (3 bytes a pixel
// after a configuration, else 1 bit). Decoding stops with a fault once the rows would
// pass maxBytes. The seed clears at ESC*r#A and ESC*b#Y, and
// wherever `clearAt` lists a row index (the start of each tile). Only a `strict`
// decoding holds delta rows to the greedy coder's rules.
inline Decoded DecodeRtl(const Bytes &s, size_t rowBytes, bool strict = true,
                         const std::vector<size_t> &clearAt = {}, size_t maxBytes = SIZE_MAX) {
  Decoded out;
  int mode = 3;  // the tile streams select nothing
  Bytes seed;
  size_t i = 0;
  const auto size = [&] {
    return rowBytes != 0 ? rowBytes : out.colour ? size_t{out.width} * 3 : (out.width + 7) / 8;
  };
  while (i < s.size()) {
    if (s[i] != 0x1B || i + 1 >= s.size()) {
      out.fault = "stray byte " + std::to_string(s[i]) + " at " + std::to_string(i);
      return out;
    }
    const uint8_t group = s[i + 1];
    i += 2;
    if (group >= '0' && group <= '~' && group != '*' && group != '&') {
      continue;  // a two-character command such as ESC E
    }
    const uint8_t kind = i < s.size() ? s[i++] : 0;
    // Parameters: a signed decimal value then a letter, lower case going on.
    for (bool more = true; more && i < s.size();) {
      long value = 0;
      bool negative = false;
      if (s[i] == '-' || s[i] == '+') {
        negative = s[i++] == '-';
      }
      while (i < s.size() && std::isdigit(s[i])) {
        value = std::min(value * 10 + (s[i++] - '0'), 1L << 40);
      }
      if (negative) {
        value = -value;
      }
      if (i == s.size()) {
        out.fault = "command cut off";
        return out;
      }
      const uint8_t letter = s[i++];
      more = std::islower(letter) != 0;
      const char key = static_cast<char>(std::toupper(letter));
      if (key == 'W' && (value < 0 || i + static_cast<size_t>(value) > s.size())) {
        out.fault = "data runs off the stream";
        return out;
      }
      const uint8_t *data = s.data() + i;
      const size_t n = key == 'W' ? static_cast<size_t>(value) : 0;
      i += n;
      if (group == '*' && kind == 'r' && (key == 'S' || key == 'T')) {
        (key == 'S' ? out.width : out.height) =
            static_cast<uint32_t>(std::clamp(value, 0L, 1L << 30));
      } else if (group == '*' && kind == 't' && key == 'R') {
        out.dpi = static_cast<uint32_t>(std::clamp(value, 0L, 1L << 20));
      } else if (group == '*' && kind == 'v' && key == 'W') {
        out.colour = true;
      } else if ((group == '*' && kind == 'r' && key == 'A') ||
                 (group == '*' && kind == 'b' && key == 'Y')) {
        seed.assign(size(), 0);
      } else if (group == '*' && kind == 'b' && key == 'M') {
        mode = static_cast<int>(value);
      } else if (group == '*' && kind == 'b' && key == 'W') {
        for (size_t c : clearAt) {
          if (c == out.rows.size()) {
            seed.assign(size(), 0);
          }
        }
        if ((out.rows.size() + 1) * size() > maxBytes) {
          out.fault = "the rows need more than " + std::to_string(maxBytes) + " bytes";
          return out;
        }
        seed.resize(size(), 0);
        Bytes row(size(), 0);
        if (mode == 3) {
          const std::string fault = DecodeDelta(data, n, seed, row, strict);
          if (!fault.empty() && out.fault.empty()) {
            out.fault = "row " + std::to_string(out.rows.size()) + ": " + fault;
          }
        } else {
          std::copy(data, data + std::min(n, row.size()), row.begin());
        }
        out.rows.push_back(row);
        // An empty raw row is blank paper and leaves the seed alone.
        if (mode == 3 || n != 0) {
          seed = row;
        }
      }
    }
  }
  return out;
}

}  // namespace rtl
}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_RTLDECODE_H_
