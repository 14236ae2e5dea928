// The printf engine with the Microsoft C runtime's conventions (see format.h). The format is parsed
// here; only the digits of finite numbers come from the C library's snprintf, one conversion at a
// time, where the two runtimes agree (correctly rounded digits, two-digit exponents). Everything the
// runtimes disagree on — %s/%S/%c/%C widths, %p, %a, infinities and NaNs, zero padding of text — is
// done here.
#include "kvdutu/platform/framework/format.h"

#include "kvdutu/platform/os/text.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <type_traits>

namespace KvdUtils::Platform {

namespace {

// The C library's own snprintf for one numeric conversion. MinGW's C99 printf, not the old
// msvcrt one, which would print three exponent digits.
template <typename... A>
int CSnprintf(char* buf, size_t n, const char* fmt, A... args) {
#if defined(__MINGW32__)
  return __mingw_snprintf(buf, n, fmt, args...);
#else
  return std::snprintf(buf, n, fmt, args...);
#endif
}

enum class Size { None, hh, h, l, ll, L, w, I, I32, I64, j, z, t };

struct Spec {
  bool left = false, plus = false, space = false, alt = false, zero = false;
  int width = 0;
  int precision = -1;
  Size size = Size::None;
  char conv = 0;
};

template <typename C>
struct Writer {
  std::basic_string<C>& out;

  void Pad(int count, C ch) {
    if (count > 0) out.append(static_cast<size_t>(count), ch);
  }
  // A finished piece of `len` output units, padded to the field width. The Microsoft runtime pads
  // with zeros whenever the 0 flag is given without '-', also for text.
  void Field(const Spec& s, const C* text, size_t len, bool zeroPadAllowed = true) {
    int pad = s.width > static_cast<int>(len) ? s.width - static_cast<int>(len) : 0;
    if (!s.left) Pad(pad, (s.zero && zeroPadAllowed) ? C('0') : C(' '));
    out.append(text, len);
    if (s.left) Pad(pad, C(' '));
  }
  // Output of snprintf (ASCII), already padded.
  void Ascii(const char* text, int len) {
    for (int i = 0; i < len; ++i) out.push_back(static_cast<C>(static_cast<unsigned char>(text[i])));
  }
};

// ---- Text of either width into the output -----------------------------------------------------

// Narrow (system code page) to wide and back.
std::wstring NarrowToWide(const char* p, size_t n) {
  std::wstring w;
  if (n == 0) return w;
  int len = static_cast<int>(n > INT_MAX ? INT_MAX : n);
  int need = MultiByteToWideChar(CP_ACP, 0, p, len, nullptr, 0);
  if (need <= 0) return w;
  w.resize(static_cast<size_t>(need));
  int got = MultiByteToWideChar(CP_ACP, 0, p, len, w.data(), need);
  w.resize(static_cast<size_t>(got > 0 ? got : 0));
  return w;
}

std::string WideToNarrow(const wchar_t* p, size_t n) {
  std::string s;
  if (n == 0) return s;
  int len = static_cast<int>(n > INT_MAX ? INT_MAX : n);
  int need = WideCharToMultiByte(CP_ACP, 0, p, len, nullptr, 0, nullptr, nullptr);
  if (need <= 0) return s;
  s.resize(static_cast<size_t>(need));
  int got = WideCharToMultiByte(CP_ACP, 0, p, len, s.data(), need, nullptr, nullptr);
  s.resize(static_cast<size_t>(got > 0 ? got : 0));
  return s;
}

bool IsHighSurrogate(wchar_t c) { return c >= 0xD800 && c <= 0xDBFF; }

// Text conversions for %s and %c. The precision limits the output in output units, never cutting a
// character, except that narrow text into narrow output is cut at a byte, as C and both runtimes do.
void PutText(Writer<wchar_t>& w, const Spec& s, const wchar_t* p, int precision) {
  size_t n = 0;
  if (precision < 0) {
    n = std::wcslen(p);
  } else {
    // Nothing past the precision is read: the array need not be terminated.
    while (n < static_cast<size_t>(precision) && p[n]) ++n;
    if (n == static_cast<size_t>(precision) && n > 0 && IsHighSurrogate(p[n - 1])) --n;
  }
  w.Field(s, p, n);
}

void PutText(Writer<char>& w, const Spec& s, const char* p, int precision) {
  size_t n = precision < 0 ? std::strlen(p) : strnlen(p, static_cast<size_t>(precision));
  w.Field(s, p, n);
}

// Bytes of the narrow character that starts with `lead` in the system code page.
size_t NarrowCharBytes(unsigned char lead) {
#if defined(_WIN32)
  if (GetACP() != CP_UTF8) return IsDBCSLeadByte(lead) ? 2 : 1;
#endif
  return lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead <= 0xEF ? 3 : lead >= 0xC2 && lead <= 0xDF ? 2 : 1;
}

void PutText(Writer<wchar_t>& w, const Spec& s, const char* p, int precision) {
  if (precision < 0) {
    std::wstring wide = NarrowToWide(p, std::strlen(p));
    w.Field(s, wide.data(), wide.size());
    return;
  }
  // Character by character, reading no byte beyond the last character written: with a precision
  // the array need not be terminated.
  std::wstring wide;
  for (size_t i = 0; wide.size() < static_cast<size_t>(precision) && p[i];) {
    size_t len = NarrowCharBytes(static_cast<unsigned char>(p[i]));
    size_t have = 1;
    while (have < len && p[i + have]) ++have;
    std::wstring one = NarrowToWide(p + i, have);
    if (wide.size() + one.size() > static_cast<size_t>(precision)) break;
    wide += one;
    i += have;
  }
  w.Field(s, wide.data(), wide.size());
}

void PutText(Writer<char>& w, const Spec& s, const wchar_t* p, int precision) {
  std::string narrow;
  if (precision < 0) {
    narrow = WideToNarrow(p, std::wcslen(p));
  } else {
    // Character by character, so that no partial multibyte character is written.
    for (size_t i = 0; narrow.size() < static_cast<size_t>(precision) && p[i];) {
      size_t units = (IsHighSurrogate(p[i]) && p[i + 1]) ? 2 : 1;
      std::string one = WideToNarrow(p + i, units);
      if (narrow.size() + one.size() > static_cast<size_t>(precision)) break;
      narrow += one;
      i += units;
    }
  }
  w.Field(s, narrow.data(), narrow.size());
}

template <typename C>
void PutChar(Writer<C>& w, const Spec& s, bool wideArg, int value) {
  if (wideArg) {
    wchar_t ch = static_cast<wchar_t>(value);
    if constexpr (std::is_same_v<C, wchar_t>) {
      w.Field(s, &ch, 1);
    } else {
      std::string narrow = WideToNarrow(&ch, 1);
      w.Field(s, narrow.data(), narrow.size());
    }
  } else {
    char ch = static_cast<char>(value);
    if constexpr (std::is_same_v<C, char>) {
      w.Field(s, &ch, 1);
    } else {
      std::wstring wide = NarrowToWide(&ch, 1);
      w.Field(s, wide.data(), wide.size());
    }
  }
}

// ---- Numbers ------------------------------------------------------------------------------------

// A printf spec for snprintf: flags, width, precision, then `length` and `conv`.
void BuildSpec(char* buf, const Spec& s, const char* length, char conv) {
  char* p = buf;
  *p++ = '%';
  if (s.left) *p++ = '-';
  if (s.plus) *p++ = '+';
  if (s.space) *p++ = ' ';
  if (s.alt) *p++ = '#';
  if (s.zero) *p++ = '0';
  if (s.width > 0) p += std::snprintf(p, 16, "%d", s.width);
  if (s.precision >= 0) p += std::snprintf(p, 16, ".%d", s.precision);
  while (*length) *p++ = *length++;
  *p++ = conv;
  *p = 0;
}

template <typename C, typename V>
void PutNumber(Writer<C>& w, const Spec& s, const char* length, char conv, V value) {
  char spec[64];
  BuildSpec(spec, s, length, conv);
  char small[128];
  int n = CSnprintf(small, sizeof small, spec, value);
  if (n < 0) return;
  if (n < static_cast<int>(sizeof small)) {
    w.Ascii(small, n);
    return;
  }
  std::string big(static_cast<size_t>(n) + 1, '\0');
  CSnprintf(big.data(), big.size(), spec, value);
  w.Ascii(big.data(), n);
}

template <typename C>
void PutInteger(Writer<C>& w, const Spec& s, va_list* ap) {
  bool isSigned = s.conv == 'd' || s.conv == 'i';
  if (isSigned) {
    long long v;
    switch (s.size) {
      case Size::hh: v = static_cast<signed char>(va_arg(*ap, int)); break;
      case Size::h: v = static_cast<short>(va_arg(*ap, int)); break;
      case Size::l: v = va_arg(*ap, long); break;
      case Size::ll:
      case Size::L:
      case Size::I64: v = va_arg(*ap, long long); break;
      case Size::I32: v = static_cast<int32_t>(va_arg(*ap, int32_t)); break;
      case Size::I:
      case Size::t: v = static_cast<long long>(va_arg(*ap, ptrdiff_t)); break;
      case Size::z: v = static_cast<long long>(va_arg(*ap, ptrdiff_t)); break;
      case Size::j: v = static_cast<long long>(va_arg(*ap, intmax_t)); break;
      default: v = va_arg(*ap, int); break;
    }
    PutNumber(w, s, "ll", s.conv, v);
  } else {
    unsigned long long v;
    switch (s.size) {
      case Size::hh: v = static_cast<unsigned char>(va_arg(*ap, unsigned int)); break;
      case Size::h: v = static_cast<unsigned short>(va_arg(*ap, unsigned int)); break;
      case Size::l: v = va_arg(*ap, unsigned long); break;
      case Size::ll:
      case Size::L:
      case Size::I64: v = va_arg(*ap, unsigned long long); break;
      case Size::I32: v = va_arg(*ap, uint32_t); break;
      case Size::I:
      case Size::z: v = static_cast<unsigned long long>(va_arg(*ap, size_t)); break;
      case Size::t: v = static_cast<unsigned long long>(static_cast<size_t>(va_arg(*ap, ptrdiff_t))); break;
      case Size::j: v = static_cast<unsigned long long>(va_arg(*ap, uintmax_t)); break;
      default: v = va_arg(*ap, unsigned int); break;
    }
    PutNumber(w, s, "ll", s.conv, v);
  }
}

template <typename C>
void PutPointer(Writer<C>& w, const Spec& s, const void* p) {
  static const char digits[] = "0123456789ABCDEF";
  uintptr_t v = reinterpret_cast<uintptr_t>(p);
  C text[sizeof(void*) * 2];
  for (int i = static_cast<int>(sizeof(void*) * 2) - 1; i >= 0; --i, v >>= 4) text[i] = static_cast<C>(digits[v & 0xF]);
  Spec plain = s;
  plain.zero = false;
  w.Field(plain, text, sizeof(void*) * 2);
}

// The modern Microsoft runtime's texts for infinities and NaNs. It tells three kinds of NaN apart:
// the x86 "indefinite" NaN that invalid arithmetic produces (sign set, quiet bit set, payload zero)
// prints "nan(ind)", any other quiet NaN "nan", a signalling NaN "nan(snan)"; the sign prints as for
// numbers, so 0.0/0.0 gives "-nan(ind)". The precision does not apply; the field is padded with
// spaces even with the 0 flag, as C prescribes for these values. (Wine's ucrtbase agrees except
// that it prints every positive NaN "nan" and every negative one "-nan(ind)".)
template <typename C>
void PutNonFinite(Writer<C>& w, const Spec& s, double v) {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bool negative = (bits >> 63) != 0;
  const char* body;
  if (std::isinf(v)) {
    body = "inf";
  } else {
    uint64_t mantissa = bits & 0x000FFFFFFFFFFFFFull;
    bool quiet = (mantissa & 0x0008000000000000ull) != 0;
    if (!quiet)
      body = "nan(snan)";
    else if (negative && mantissa == 0x0008000000000000ull)
      body = "nan(ind)";
    else
      body = "nan";
  }
  bool upper = s.conv == 'E' || s.conv == 'F' || s.conv == 'G' || s.conv == 'A';
  C text[16];
  size_t n = 0;
  if (negative)
    text[n++] = C('-');
  else if (s.plus)
    text[n++] = C('+');
  else if (s.space)
    text[n++] = C(' ');
  for (const char* b = body; *b; ++b) {
    char c = *b;
    if (upper && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    text[n++] = static_cast<C>(c);
  }
  w.Field(s, text, n, false);
}

// %a and %A as the Microsoft runtime prints them: a normalised leading 1 (0 for zeros and
// subnormals), by default all 13 hexadecimal digits of a double's fraction (glibc drops trailing
// zeros), at least one exponent digit, rounding half away from zero when digits are dropped.
template <typename C>
void PutHexFloat(Writer<C>& w, const Spec& s, double v) {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  bool negative = (bits >> 63) != 0;
  int exponentField = static_cast<int>((bits >> 52) & 0x7FF);
  uint64_t fraction = bits & 0x000FFFFFFFFFFFFFull;
  int lead = exponentField == 0 ? 0 : 1;
  int exponent = exponentField == 0 ? (fraction == 0 ? 0 : -1022) : exponentField - 1023;
  int precision = s.precision < 0 ? 13 : s.precision;
  if (precision < 13) {
    int drop = 4 * (13 - precision);
    uint64_t half = 1ull << (drop - 1);
    uint64_t rest = fraction & ((1ull << drop) - 1);
    fraction >>= drop;
    if (rest >= half) {
      ++fraction;
      if (fraction >> (4 * precision)) {  // carried into the leading digit
        fraction &= (1ull << (4 * precision)) - 1;
        ++lead;
      }
    }
  }
  bool upper = s.conv == 'A';
  const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string body;
  body += upper ? "0X" : "0x";
  body += digits[lead];
  int shown = precision < 13 ? precision : 13;
  if (precision > 0 || s.alt) body += '.';
  for (int i = shown - 1; i >= 0; --i) body += digits[(fraction >> (4 * i)) & 0xF];
  for (int i = 13; i < precision; ++i) body += '0';
  body += upper ? 'P' : 'p';
  body += exponent < 0 ? '-' : '+';
  body += std::to_string(exponent < 0 ? -exponent : exponent);

  std::string sign = negative ? "-" : s.plus ? "+" : s.space ? " " : "";
  int len = static_cast<int>(sign.size() + body.size());
  int pad = s.width > len ? s.width - len : 0;
  std::string text;
  if (!s.left && !s.zero) text.append(static_cast<size_t>(pad), ' ');
  text += sign;
  if (!s.left && s.zero) {  // zeros go after the sign and the 0x
    text += body.substr(0, 2);
    text.append(static_cast<size_t>(pad), '0');
    text += body.substr(2);
  } else {
    text += body;
  }
  if (s.left) text.append(static_cast<size_t>(pad), ' ');
  w.Ascii(text.data(), static_cast<int>(text.size()));
}

template <typename C>
void PutFloat(Writer<C>& w, const Spec& s, va_list* ap) {
  long double ld = 0;
  double d;
  bool isLong = s.size == Size::L;
  if (isLong) {
    ld = va_arg(*ap, long double);
    d = static_cast<double>(ld);
  } else {
    d = va_arg(*ap, double);
  }
  if (!std::isfinite(d) && !(isLong && std::isfinite(ld))) {
    PutNonFinite(w, s, d);
    return;
  }
  if (s.conv == 'a' || s.conv == 'A') {
    PutHexFloat(w, s, d);  // the Microsoft runtime's long double is a double
    return;
  }
  if (isLong)
    PutNumber(w, s, "L", s.conv, ld);
  else
    PutNumber(w, s, "", s.conv, d);
}

// ---- The engine ---------------------------------------------------------------------------------

template <typename C>
bool ParseInt(const C*& p, int& value) {
  long long v = 0;
  while (*p >= C('0') && *p <= C('9')) {
    v = v * 10 + (*p - C('0'));
    if (v > INT_MAX) return false;
    ++p;
  }
  value = static_cast<int>(v);
  return true;
}

// Formats into `out` (appending). Returns false for an invalid specification.
template <typename C>
bool Run(std::basic_string<C>& out, const C* f, va_list* ap) {
  Writer<C> w{out};
  constexpr bool wideOut = std::is_same_v<C, wchar_t>;
  while (*f) {
    if (*f != C('%')) {
      const C* start = f;
      while (*f && *f != C('%')) ++f;
      out.append(start, static_cast<size_t>(f - start));
      continue;
    }
    ++f;
    Spec s;
    for (;; ++f) {
      if (*f == C('-')) s.left = true;
      else if (*f == C('+')) s.plus = true;
      else if (*f == C(' ')) s.space = true;
      else if (*f == C('#')) s.alt = true;
      else if (*f == C('0')) s.zero = true;
      else break;
    }
    if (*f == C('*')) {
      ++f;
      int width = va_arg(*ap, int);
      if (width < 0) {
        if (width == INT_MIN) return false;
        s.left = true;
        width = -width;
      }
      s.width = width;
    } else if (!ParseInt(f, s.width)) {
      return false;
    }
    if (*f == C('.')) {
      ++f;
      if (*f == C('*')) {
        ++f;
        int precision = va_arg(*ap, int);
        s.precision = precision < 0 ? -1 : precision;
      } else {
        s.precision = 0;
        if (!ParseInt(f, s.precision)) return false;
      }
    }
    switch (*f) {
      case C('h'):
        if (f[1] == C('h')) { s.size = Size::hh; f += 2; } else { s.size = Size::h; ++f; }
        break;
      case C('l'):
        if (f[1] == C('l')) { s.size = Size::ll; f += 2; } else { s.size = Size::l; ++f; }
        break;
      case C('L'): s.size = Size::L; ++f; break;
      case C('w'): s.size = Size::w; ++f; break;
      case C('j'): s.size = Size::j; ++f; break;
      case C('z'): s.size = Size::z; ++f; break;
      case C('t'): s.size = Size::t; ++f; break;
      case C('I'):
        if (f[1] == C('6') && f[2] == C('4')) { s.size = Size::I64; f += 3; }
        else if (f[1] == C('3') && f[2] == C('2')) { s.size = Size::I32; f += 3; }
        else { s.size = Size::I; ++f; }
        break;
      default: break;
    }
    C conv = *f;
    if (conv == 0) return false;
    ++f;
    s.conv = (conv > 0 && conv < 0x80) ? static_cast<char>(conv) : '?';
    switch (s.conv) {
      case '%': out.push_back(C('%')); break;
      case 'd': case 'i': case 'u': case 'o': case 'x': case 'X': PutInteger(w, s, ap); break;
      case 'e': case 'E': case 'f': case 'F': case 'g': case 'G': case 'a': case 'A': PutFloat(w, s, ap); break;
      case 'p': PutPointer(w, s, va_arg(*ap, void*)); break;
      case 'c': case 'C': {
        // The own width for c, the other for C; h always narrow, l and w always wide.
        bool wideArg = (s.conv == 'c') == wideOut;
        if (s.size == Size::h) wideArg = false;
        if (s.size == Size::l || s.size == Size::w) wideArg = true;
        PutChar(w, s, wideArg, va_arg(*ap, int));
        break;
      }
      case 's': case 'S': {
        bool wideArg = (s.conv == 's') == wideOut;
        if (s.size == Size::h) wideArg = false;
        if (s.size == Size::l || s.size == Size::w) wideArg = true;
        if (wideArg) {
          const wchar_t* p = va_arg(*ap, const wchar_t*);
          PutText(w, s, p ? p : L"(null)", s.precision);
        } else {
          const char* p = va_arg(*ap, const char*);
          PutText(w, s, p ? p : "(null)", s.precision);
        }
        break;
      }
      default:
        // Unknown conversions, and %n, which the modern runtime refuses.
        return false;
    }
  }
  return true;
}

template <typename C>
int AppendImpl(std::basic_string<C>& out, const C* format, va_list args) {
  if (!format) return -1;
  size_t before = out.size();
  va_list ap;
  va_copy(ap, args);
  bool ok = Run(out, format, &ap);
  va_end(ap);
  if (!ok) {
    out.resize(before);
    return -1;
  }
  size_t added = out.size() - before;
  return added > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(added);
}

template <typename C>
int BufferImpl(C* buffer, size_t count, const C* format, va_list args) {
  std::basic_string<C> out;
  int n = AppendImpl(out, format, args);
  if (n < 0) {
    if (buffer && count) buffer[0] = 0;
    return -1;
  }
  size_t len = out.size();
  if (!buffer) return count == 0 ? static_cast<int>(len) : -1;  // the length a buffer needs
  if (len < count) {
    std::memcpy(buffer, out.data(), len * sizeof(C));
    buffer[len] = 0;
    return static_cast<int>(len);
  }
  std::memcpy(buffer, out.data(), count * sizeof(C));
  return len == count ? static_cast<int>(len) : -1;
}

}  // namespace

int AppendFormatV(std::wstring& out, const wchar_t* format, va_list args) { return AppendImpl(out, format, args); }
int AppendFormatV(std::string& out, const char* format, va_list args) { return AppendImpl(out, format, args); }

int FormatV(std::wstring& out, const wchar_t* format, va_list args) {
  out.clear();
  return AppendImpl(out, format, args);
}

int FormatV(std::string& out, const char* format, va_list args) {
  out.clear();
  return AppendImpl(out, format, args);
}

int Format(std::wstring& out, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  int n = FormatV(out, format, args);
  va_end(args);
  return n;
}

int Format(std::string& out, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int n = FormatV(out, format, args);
  va_end(args);
  return n;
}

int FormatBufferV(wchar_t* buffer, size_t count, const wchar_t* format, va_list args) {
  return BufferImpl(buffer, count, format, args);
}

int FormatBufferV(char* buffer, size_t count, const char* format, va_list args) {
  return BufferImpl(buffer, count, format, args);
}

int FormatBuffer(wchar_t* buffer, size_t count, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  int n = FormatBufferV(buffer, count, format, args);
  va_end(args);
  return n;
}

int FormatBuffer(char* buffer, size_t count, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int n = FormatBufferV(buffer, count, format, args);
  va_end(args);
  return n;
}

}  // namespace KvdUtils::Platform
