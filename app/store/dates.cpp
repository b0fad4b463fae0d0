#include "app/store/dates.h"

#include <chrono>

namespace tovra::store {
namespace {

using namespace std::chrono;

void appendDigits(std::string& out, long long value, int width) {
  char buffer[24];
  int length = 0;
  const bool negative = value < 0;
  unsigned long long magnitude = negative ? 0ULL - static_cast<unsigned long long>(value) : value;
  do {
    buffer[length++] = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  while (length < width) {
    buffer[length++] = '0';
  }
  if (negative) {
    out.push_back('-');
  }
  while (length > 0) {
    out.push_back(buffer[--length]);
  }
}

}  // namespace

std::int64_t toMillis(asokit::WallTime time) {
  return floor<milliseconds>(time.time_since_epoch()).count();
}

asokit::WallTime fromMillis(std::int64_t millis) {
  return asokit::WallTime{duration_cast<asokit::WallTime::duration>(milliseconds{millis})};
}

std::string isoUtc(asokit::WallTime time) {
  std::string out;
  out.reserve(20);
  appendIsoUtc(out, time);
  return out;
}

void appendIsoUtc(std::string& out, asokit::WallTime time) {
  const auto seconds = floor<std::chrono::seconds>(time);
  const auto day = floor<days>(seconds);
  const year_month_day date{day};
  const hh_mm_ss clock{seconds - day};
  appendDigits(out, static_cast<int>(date.year()), 4);
  out.push_back('-');
  appendDigits(out, static_cast<unsigned>(date.month()), 2);
  out.push_back('-');
  appendDigits(out, static_cast<unsigned>(date.day()), 2);
  out.push_back('T');
  appendDigits(out, clock.hours().count(), 2);
  out.push_back(':');
  appendDigits(out, clock.minutes().count(), 2);
  out.push_back(':');
  appendDigits(out, clock.seconds().count(), 2);
  out.push_back('Z');
}

}  // namespace tovra::store
