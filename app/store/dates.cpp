#include "app/store/dates.h"

#include <algorithm>
#include <chrono>

namespace tovra::store {
namespace {

using namespace std::chrono;

void writeDigits(char* out, long long value, int width) {
  for (int i = width - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
}

}  // namespace

std::int64_t toMillis(asokit::WallTime time) {
  return floor<milliseconds>(time.time_since_epoch()).count();
}

asokit::WallTime fromMillis(std::int64_t millis) {
  // The clock holds about 292 years either side of 1970. Only a garbled or foreign file stores a time
  // beyond that; it reads as the nearest time the clock holds (so one bad value spoils one date, not every
  // read of the store), a date no reading of this program can have.
  using Ticks = asokit::WallTime::duration;
  constexpr auto kMost = duration_cast<milliseconds>(Ticks::max()).count();
  constexpr auto kLeast = duration_cast<milliseconds>(Ticks::min()).count();
  return asokit::WallTime{duration_cast<Ticks>(milliseconds{std::clamp<std::int64_t>(millis, kLeast, kMost)})};
}

std::string isoUtc(asokit::WallTime time) {
  std::string out(kIsoUtcLength, ' ');
  writeIsoUtc(out.data(), time);
  return out;
}

void writeIsoUtc(char* out, asokit::WallTime time) {
  const auto seconds = floor<std::chrono::seconds>(time);
  const auto day = floor<days>(seconds);
  const year_month_day date{day};
  const hh_mm_ss clock{seconds - day};
  // Years outside 0000–9999 do not fit the fixed width; no record can be dated there.
  writeDigits(out, std::clamp(static_cast<int>(date.year()), 0, 9999), 4);
  out[4] = '-';
  writeDigits(out + 5, static_cast<unsigned>(date.month()), 2);
  out[7] = '-';
  writeDigits(out + 8, static_cast<unsigned>(date.day()), 2);
  out[10] = 'T';
  writeDigits(out + 11, clock.hours().count(), 2);
  out[13] = ':';
  writeDigits(out + 14, clock.minutes().count(), 2);
  out[16] = ':';
  writeDigits(out + 17, clock.seconds().count(), 2);
  out[19] = 'Z';
}

}  // namespace tovra::store
