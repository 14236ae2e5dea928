#include "kvdutu/files/file_access.h"

fileAccess::fileAccess() = default;
fileAccess::~fileAccess() = default;

int fileAccess::SafeOpen(const CString& name, unsigned int flags) {
  return Open(name.GetString(), flags, nullptr) ? 1 : 0;
}

namespace {

// The buffer form's count as ReadString takes it (fgets-style, one place for the terminator), and
// the size of the buffer that `line` lends it.
constexpr unsigned int kLineChars = 259;
constexpr int kBufferChars = 260;

// Gives the string back its length from the terminator even when ReadString throws, so that an
// exception never leaves `line` with its buffer still lent out.
class LentBuffer {
 public:
  LentBuffer(CString& s, int size) : m_s(s), m_p(s.GetBuffer(size)) {}
  ~LentBuffer() { release(); }
  LentBuffer(const LentBuffer&) = delete;
  LentBuffer& operator=(const LentBuffer&) = delete;
  wchar_t* get() const { return m_p; }
  void release() {
    if (!m_p) return;
    m_p = nullptr;
    m_s.ReleaseBuffer();
  }

 private:
  CString& m_s;
  wchar_t* m_p;
};

}  // namespace

int fileAccess::ReadLine(CString& line, int anyLength) {
  if (anyLength != 0) {
    if (!ReadString(line)) return 0;
    return line.GetLength() + 1;
  }
  LentBuffer buffer(line, kBufferChars);
  // A terminator at the end of the lent buffer, so that the string finds its length whatever a
  // subclass's ReadString leaves there.
  buffer.get()[kBufferChars - 1] = L'\0';
  const wchar_t* got = ReadString(buffer.get(), kLineChars);
  buffer.release();
  if (!got) return 0;
  const int length = line.GetLength();
  return length < static_cast<int>(kLineChars) ? length : 0;
}

void fileAccess::WriteLine(const CString& text) { WriteString(text.GetString()); }

void fileAccess::WritePartLine(const CString& text) { WriteString(text.GetString()); }
