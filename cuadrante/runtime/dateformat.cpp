#include "cuadrante/runtime/dateformat.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <string>
#include <utility>

#include "cuadrante/runtime/exception.h"
#include "cuadrante/runtime/formatsettings.h"

namespace cuadrante::detail {
namespace {

// Everything a pattern can show, decoded once per call.
struct Fields {
  uint16_t year;
  uint16_t month;
  uint16_t day;
  uint16_t hour;
  uint16_t minute;
  uint16_t second;
  uint16_t msec;
  uint16_t dayIndex;  // 0 is Sunday, as the day names are kept
};

Fields Decode(TDateTime value) {
  Fields f{};
  DecodeDateTime(value, f.year, f.month, f.day, f.hour, f.minute, f.second, f.msec);
  f.dayIndex = static_cast<uint16_t>(DayOfTheWeek(value) % 7);
  return f;
}

// FormatDateTime walks the pattern twice: once to measure, once to write into a
// string reserved to the exact length. Both walks share one template so that
// they cannot disagree.
class MeasureSink {
 public:
  void Put(char) { size_ += 1; }
  void Put(std::string_view text) { size_ += text.size(); }
  size_t Size() const { return size_; }

 private:
  size_t size_ = 0;
};

class StringSink {
 public:
  explicit StringSink(AnsiString& out) : out_(out) {}
  void Put(char c) { out_.push_back(c); }
  void Put(std::string_view text) { out_.append(text); }

 private:
  AnsiString& out_;
};

template <class Sink>
void PutNumber(Sink& sink, unsigned value, size_t width) {
  char buffer[16];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  const auto length = static_cast<size_t>(result.ptr - buffer);
  for (size_t i = length; i < width; ++i) sink.Put('0');
  sink.Put(std::string_view(buffer, length));
}

constexpr char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
constexpr bool IsLetter(char c) { return Upper(c) >= 'A' && Upper(c) <= 'Z'; }

// A pattern may name another pattern (c, t, ddddd...); the settings could name
// themselves, so expansion stops one level down.
constexpr int kMaxNesting = 1;

template <class Sink>
void Append(Sink& sink, std::string_view format, const Fields& f, int level) {
  const TFormatSettings& fs = FormatSettings;
  char lastLetter = ' ';
  size_t i = 0;
  while (i < format.size()) {
    const char c = format[i];
    if (c == '\'' || c == '"') {
      const size_t close = format.find(c, i + 1);
      const size_t end = close == std::string_view::npos ? format.size() : close;
      sink.Put(format.substr(i + 1, end - i - 1));
      i = close == std::string_view::npos ? format.size() : close + 1;
      continue;
    }
    if (!IsLetter(c)) {
      if (c == '/') {
        sink.Put(fs.DateSeparator);
      } else if (c == ':') {
        sink.Put(fs.TimeSeparator);
      } else {
        sink.Put(c);
      }
      ++i;
      continue;
    }
    char token = Upper(c);
    size_t count = 1;
    while (i + count < format.size() && Upper(format[i + count]) == token) ++count;
    if (token == 'M' && lastLetter == 'H') token = 'N';
    lastLetter = token;
    const bool nest = level < kMaxNesting;
    switch (token) {
      case 'Y':
        if (count <= 2) {
          PutNumber(sink, f.year % 100u, 2);
        } else {
          PutNumber(sink, f.year, 4);
        }
        break;
      case 'M':
        if (count <= 2) {
          PutNumber(sink, f.month, count);
        } else if (count == 3) {
          sink.Put(fs.ShortMonthNames[f.month - 1]);
        } else {
          sink.Put(fs.LongMonthNames[f.month - 1]);
        }
        break;
      case 'D':
        if (count <= 2) {
          PutNumber(sink, f.day, count);
        } else if (count == 3) {
          sink.Put(fs.ShortDayNames[f.dayIndex]);
        } else if (count == 4) {
          sink.Put(fs.LongDayNames[f.dayIndex]);
        } else if (nest) {
          Append(sink, count == 5 ? fs.ShortDateFormat : fs.LongDateFormat, f, level + 1);
        }
        break;
      case 'H':
        PutNumber(sink, f.hour, count >= 2 ? 2 : 1);
        break;
      case 'N':
        PutNumber(sink, f.minute, count >= 2 ? 2 : 1);
        break;
      case 'S':
        PutNumber(sink, f.second, count >= 2 ? 2 : 1);
        break;
      case 'Z':
        PutNumber(sink, f.msec, count >= 3 ? 3 : 1);
        break;
      case 'T':
        if (nest) Append(sink, count == 1 ? fs.ShortTimeFormat : fs.LongTimeFormat, f, level + 1);
        break;
      case 'C':
        if (nest) {
          Append(sink, fs.ShortDateFormat, f, level + 1);
          if (f.hour != 0 || f.minute != 0 || f.second != 0 || f.msec != 0) {
            sink.Put(' ');
            Append(sink, fs.LongTimeFormat, f, level + 1);
          }
        }
        break;
      default:
        sink.Put(format.substr(i, count));
        break;
    }
    i += count;
  }
}

// ---- Reading -------------------------------------------------------------

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  bool AtEnd() const { return pos_ >= text_.size(); }
  size_t Pos() const { return pos_; }
  void Reset(size_t pos) { pos_ = pos; }

  // Blanks are every byte up to the space, as Trim sees them.
  size_t SkipBlanks() {
    const size_t start = pos_;
    while (pos_ < text_.size() && static_cast<unsigned char>(text_[pos_]) <= ' ') ++pos_;
    return pos_ - start;
  }

  bool Char(char c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  // One to `maxDigits` decimal digits, and no further digit right after them.
  bool Number(size_t maxDigits, unsigned& value, size_t& digits) {
    value = 0;
    digits = 0;
    while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') {
      if (digits == maxDigits) return false;
      value = value * 10 + static_cast<unsigned>(text_[pos_] - '0');
      ++digits;
      ++pos_;
    }
    return digits > 0;
  }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

// The order of day, month and year: that of their first letters in the short
// date format, outside quotes. Letters that it lacks follow in the order day,
// month, year, so that any settings still read three numbers.
std::array<char, 3> DateOrder() {
  std::array<char, 3> order{};
  size_t found = 0;
  const auto has = [&](char token) {
    for (size_t k = 0; k < found; ++k) {
      if (order[k] == token) return true;
    }
    return false;
  };
  const std::string_view format = FormatSettings.ShortDateFormat;
  for (size_t i = 0; i < format.size() && found < 3; ++i) {
    const char c = format[i];
    if (c == '\'' || c == '"') {
      const size_t close = format.find(c, i + 1);
      if (close == std::string_view::npos) break;
      i = close;
      continue;
    }
    const char token = Upper(c);
    if ((token == 'D' || token == 'M' || token == 'Y') && !has(token)) order[found++] = token;
  }
  for (const char token : {'D', 'M', 'Y'}) {
    if (!has(token)) order[found++] = token;
  }
  return order;
}

bool ScanDate(Scanner& in, TDateTime& date) {
  unsigned day = 0, month = 0, year = 0;
  size_t yearDigits = 0;
  const std::array<char, 3> order = DateOrder();
  for (size_t k = 0; k < order.size(); ++k) {
    if (k > 0 && !in.Char(FormatSettings.DateSeparator)) return false;
    size_t digits = 0;
    switch (order[k]) {
      case 'D':
        if (!in.Number(2, day, digits)) return false;
        break;
      case 'M':
        if (!in.Number(2, month, digits)) return false;
        break;
      default:
        if (!in.Number(4, year, yearDigits)) return false;
        break;
    }
  }
  // A two-digit year reads the same on every day: 00-49 this century's first
  // half, 50-99 the last century's second half.
  if (yearDigits <= 2) year += year < 50 ? 2000 : 1900;
  return TryEncodeDate(static_cast<uint16_t>(year), static_cast<uint16_t>(month),
                       static_cast<uint16_t>(day), date);
}

bool ScanTime(Scanner& in, TDateTime& time) {
  unsigned hour = 0, minute = 0, second = 0, msec = 0;
  size_t digits = 0;
  if (!in.Number(2, hour, digits)) return false;
  if (!in.Char(FormatSettings.TimeSeparator)) return false;
  if (!in.Number(2, minute, digits)) return false;
  if (in.Char(FormatSettings.TimeSeparator)) {
    if (!in.Number(2, second, digits)) return false;
    if (in.Char(FormatSettings.DecimalSeparator)) {
      // A fraction of a second, so ".5" is half a second and not 5 ms.
      if (!in.Number(3, msec, digits)) return false;
      for (size_t d = digits; d < 3; ++d) msec *= 10;
    }
  }
  return TryEncodeTime(static_cast<uint16_t>(hour), static_cast<uint16_t>(minute),
                       static_cast<uint16_t>(second), static_cast<uint16_t>(msec), time);
}

enum class Want { kDateTime, kDate, kTime };

// The day and the time of day joined as the runtime keeps them: before the
// origin the time is subtracted so that the fraction still reads forward.
TDateTime Join(TDateTime date, TDateTime time) { return date.Val >= 0 ? date + time : date - time; }

bool Parse(std::string_view text, Want want, TDateTime& value) {
  Scanner in(text);
  in.SkipBlanks();
  TDateTime date;
  TDateTime time;
  if (want == Want::kTime) {
    if (!ScanTime(in, time)) return false;
  } else {
    const size_t start = in.Pos();
    if (ScanDate(in, date)) {
      if (want == Want::kDateTime && in.SkipBlanks() > 0 && !in.AtEnd() && !ScanTime(in, time)) {
        return false;
      }
    } else if (want == Want::kDateTime) {
      in.Reset(start);
      date = TDateTime();
      if (!ScanTime(in, time)) return false;
    } else {
      return false;
    }
  }
  in.SkipBlanks();
  if (!in.AtEnd()) return false;
  value = Join(date, time);
  return true;
}

[[noreturn]] void Fail(std::string_view text, std::string_view what) {
  AnsiString message;
  message.reserve(text.size() + what.size() + 20);
  message.append("'").append(text).append("' is not a valid ").append(what);
  throw EConvertError(std::move(message));
}

}  // namespace
}  // namespace cuadrante::detail

using namespace cuadrante::detail;

AnsiString FormatDateTime(std::string_view format, TDateTime value) {
  const Fields fields = Decode(value);
  if (format.empty()) format = "c";
  MeasureSink measure;
  Append(measure, format, fields, 0);
  AnsiString out;
  out.reserve(measure.Size());
  StringSink sink(out);
  Append(sink, format, fields, 0);
  return out;
}

AnsiString DateTimeToStr(TDateTime value) { return FormatDateTime("c", value); }

AnsiString DateToStr(TDateTime value) { return FormatDateTime("ddddd", value); }

AnsiString TimeToStr(TDateTime value) { return FormatDateTime("tt", value); }

AnsiString DateString(TDateTime value) { return DateToStr(value); }

TDateTime StrToDateTime(std::string_view text) {
  TDateTime value;
  if (!Parse(text, Want::kDateTime, value)) Fail(text, "date and time");
  return value;
}

TDateTime StrToDate(std::string_view text) {
  TDateTime value;
  if (!Parse(text, Want::kDate, value)) Fail(text, "date");
  return value;
}

TDateTime StrToTime(std::string_view text) {
  TDateTime value;
  if (!Parse(text, Want::kTime, value)) Fail(text, "time");
  return value;
}

bool TryStrToDateTime(std::string_view text, TDateTime& value) {
  return Parse(text, Want::kDateTime, value);
}
