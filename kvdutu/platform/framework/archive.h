// CArchive: the framework's binary archive, which stores values and object graphs into a byte
// stream and loads them back. The imported containers use su_CArchive, which is this class.
//
// Byte layout (the same on every platform, so that a 64-bit Linux process and a Windows
// process read each other's files; nothing in a file says which build wrote it):
//
//   Integers are little-endian at fixed widths:
//     1 byte   BYTE, char, signed char, bool (0 or 1)
//     2 bytes  WORD, short, wchar_t (one UTF-16 unit; a Linux wchar_t above 0xFFFF is cut)
//     4 bytes  LONG, DWORD, int, unsigned, float (IEEE single); `long`/`unsigned long` where
//              they differ from LONGLONG/ULONGLONG (Windows). On 64-bit Linux as long as
//              win_types.h makes LONGLONG the same type as `long`, a `long` is written as 8 bytes.
//     8 bytes  LONGLONG, ULONGLONG, long long, double (IEEE double)
//   Pointers are never written.
//
//   Count (WriteCount): WORD n when n < 0xFFFF; else WORD 0xFFFF then DWORD n when n < 0xFFFFFFFF;
//     else WORD 0xFFFF, DWORD 0xFFFFFFFF, 8-byte n.
//
//   String (operator<< of CString/CStringA): a length prefix, then the characters.
//     Wide strings start with the marker BYTE 0xFF, WORD 0xFFFE; their characters are UTF-16LE
//     units (Linux strings are converted; the length counts units). Narrow strings have no
//     marker; their characters are the bytes of the string.
//     Length: BYTE n when n < 0xFF; else BYTE 0xFF, then WORD n when n < 0xFFFE; else WORD 0xFFFF,
//     then DWORD n when n < 0xFFFFFFFF; else DWORD 0xFFFFFFFF and 8-byte n.
//     A narrow string loaded into a wide one (or the reverse) is converted through the system
//     code page (UTF-8 on Linux).
//   WriteString writes the UTF-16LE units of a text with no length and no terminator; ReadString
//     reads one line of such text back.
//
//   Object reference (WriteObject), one WORD tag first:
//     0x0000                null pointer
//     0x0001..0x7FFE        an object already in this archive: its map index
//     0x7FFF                "big tag": a DWORD follows, holding a map index (objects) or
//                           0x80000000 | index (classes), for indexes of 0x7FFF and above
//     0x8000 | index        a class already in this archive, then the new object's data
//     0xFFFF                a new class: WORD schema (the low 16 bits of the class's schema,
//                           without VERSIONABLE_SCHEMA), WORD name length, the ASCII class name,
//                           then the new object's data
//   Map indexes count from 1 in writing order and are shared by classes and objects: every new
//   class and every new object takes the next index. The object's data is what its Serialize
//   writes. A class written as a back-reference keeps the schema its first reference carried.
//
//   Loading checks: an unknown class name -> CArchiveException::badClass, a class that is not the
//   requested one or derived from it -> badClass, a stored schema different from the class's
//   schema -> badSchema unless the class is VERSIONABLE_SCHEMA, an index that names nothing ->
//   badIndex, data that ends inside a value -> endOfFile.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/win_types.h"

#include <cstdio>
#include <memory>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace KvdUtils::Framework {

// The bytes under an archive. The framework's file class provides the same operations under the
// same names, so a file can stand here; tests use the memory stream. Errors are thrown as the
// framework's file exceptions.
class KVDUTU_API ArchiveStream {
 public:
  enum SeekPosition { begin = 0, current = 1, end = 2 };

  virtual ~ArchiveStream();
  // Up to nCount bytes; fewer (0 at the end) when the stream ends first.
  virtual UINT Read(void* lpBuf, UINT nCount) = 0;
  virtual void Write(const void* lpBuf, UINT nCount) = 0;
  // The new position from the start.
  virtual ULONGLONG Seek(LONGLONG lOff, UINT nFrom) = 0;
  virtual void Flush();
  // The name that the archive's exceptions report; empty when the stream has none.
  virtual CString GetFilePath() const;
};

// A growable byte buffer; reading starts at the front.
class KVDUTU_API MemoryArchiveStream : public ArchiveStream {
 public:
  MemoryArchiveStream();
  explicit MemoryArchiveStream(std::vector<BYTE> bytes);
  ~MemoryArchiveStream() override;

  UINT Read(void* lpBuf, UINT nCount) override;
  void Write(const void* lpBuf, UINT nCount) override;
  ULONGLONG Seek(LONGLONG lOff, UINT nFrom) override;
  CString GetFilePath() const override;

  const std::vector<BYTE>& GetBytes() const { return m_bytes; }
  void SetFilePath(LPCWSTR path);

 private:
  std::vector<BYTE> m_bytes;
  size_t m_pos = 0;
  CString m_path;
};

// A C stream that the caller opened in binary mode (and closes).
class KVDUTU_API StdioArchiveStream : public ArchiveStream {
 public:
  explicit StdioArchiveStream(FILE* file, LPCWSTR path = nullptr);
  ~StdioArchiveStream() override;

  UINT Read(void* lpBuf, UINT nCount) override;
  void Write(const void* lpBuf, UINT nCount) override;
  ULONGLONG Seek(LONGLONG lOff, UINT nFrom) override;
  void Flush() override;
  CString GetFilePath() const override;

 private:
  FILE* m_file;
  CString m_path;
};

// Where `long` and LONGLONG are one type, a `long` value may be a LONGLONG and keeps 64 bits.
inline constexpr bool kArchiveLongIs64 = std::is_same_v<LONGLONG, long> || std::is_same_v<ULONGLONG, unsigned long>;

}  // namespace KvdUtils::Framework

class KVDUTU_API CArchive {
 public:
  enum Mode { store = 0, load = 1, bNoFlushOnDelete = 2, bNoByteSwap = 4 };

  // nBufSize is the size of the archive's buffer (at least 128); lpBuf, when given, is used as
  // that buffer and stays the caller's.
  CArchive(KvdUtils::Framework::ArchiveStream* pFile, UINT nMode, int nBufSize = 4096, void* lpBuf = nullptr);
  // Closes (flushing what was stored) unless bNoFlushOnDelete was given; then unflushed data is
  // dropped, as Abort does.
  virtual ~CArchive();

  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  BOOL IsLoading() const { return (m_nMode & load) != 0; }
  BOOL IsStoring() const { return (m_nMode & load) == 0; }
  BOOL IsByteSwapping() const { return FALSE; }
  BOOL IsBufferEmpty() const;
  KvdUtils::Framework::ArchiveStream* GetFile() const { return m_pFile; }

  // The schema of the object being loaded; valid once per Serialize (then (UINT)-1).
  UINT GetObjectSchema();
  void SetObjectSchema(UINT nSchema);

  // Raw bytes. Read returns fewer than nMax at the end of the data.
  UINT Read(void* lpBuf, UINT nMax);
  void Write(const void* lpBuf, UINT nMax);
  // Storing: hands the buffer to the stream. Loading: gives unread buffered bytes back to the
  // stream (seeks back), so the stream stands after what was consumed.
  void Flush();
  void Close();
  // Detaches from the stream without flushing.
  void Abort();

  // Text lines (see the layout above). ReadString(CString&) drops the line end and returns FALSE
  // at the end of the data; the buffer form reads at most nMax characters into a buffer of
  // nMax + 1 and returns NULL when nothing was left.
  void WriteString(LPCWSTR lpsz);
  BOOL ReadString(CString& rString);
  LPWSTR ReadString(LPWSTR lpsz, UINT nMax);

  // Object graphs.
  void WriteObject(const CObject* pOb);
  CObject* ReadObject(const CRuntimeClass* pClassRefRequested);
  void WriteClass(const CRuntimeClass* pClassRef);
  CRuntimeClass* ReadClass(const CRuntimeClass* pClassRefRequested = nullptr, UINT* pSchema = nullptr,
                           DWORD* pObTag = nullptr);
  void SerializeClass(const CRuntimeClass* pClassRef);
  // Gives an object a map index without writing it, so that later references are back-references.
  void MapObject(const CObject* pOb);

  void WriteCount(DWORD_PTR dwCount);
  DWORD_PTR ReadCount();

  // ---- Values ----
  CArchive& operator<<(bool b);
  CArchive& operator<<(char ch);
  CArchive& operator<<(signed char ch);
  CArchive& operator<<(unsigned char by);
  CArchive& operator<<(short w);
  CArchive& operator<<(unsigned short w);
  CArchive& operator<<(wchar_t ch);
  CArchive& operator<<(int i);
  CArchive& operator<<(unsigned int u);
  CArchive& operator<<(long l);
  CArchive& operator<<(unsigned long dw);
  CArchive& operator<<(long long dwdw);
  CArchive& operator<<(unsigned long long dwdw);
  CArchive& operator<<(float f);
  CArchive& operator<<(double d);

  CArchive& operator>>(bool& b);
  CArchive& operator>>(char& ch);
  CArchive& operator>>(signed char& ch);
  CArchive& operator>>(unsigned char& by);
  CArchive& operator>>(short& w);
  CArchive& operator>>(unsigned short& w);
  CArchive& operator>>(wchar_t& ch);
  CArchive& operator>>(int& i);
  CArchive& operator>>(unsigned int& u);
  CArchive& operator>>(long& l);
  CArchive& operator>>(unsigned long& dw);
  CArchive& operator>>(long long& dwdw);
  CArchive& operator>>(unsigned long long& dwdw);
  CArchive& operator>>(float& f);
  CArchive& operator>>(double& d);

  // The name the archive's exceptions report (the stream's path).
  CString m_strFileName;

 protected:
  [[noreturn]] void ThrowArchive(int cause) const;
  void WriteLE(ULONGLONG value, UINT nBytes);
  ULONGLONG ReadLE(UINT nBytes);
  void RequireStoring() const;
  void RequireLoading() const;
  UINT NextMapIndex();

 private:
  void FlushStoreBuffer();
  BOOL FillBuffer();

  KvdUtils::Framework::ArchiveStream* m_pFile;
  UINT m_nMode;
  std::unique_ptr<BYTE[]> m_ownBuffer;
  BYTE* m_buf;
  UINT m_nBufSize;
  UINT m_nCur = 0;  // loading: next byte; storing: bytes held
  UINT m_nMax = 0;  // loading: bytes held
  UINT m_nObjectSchema = (UINT)-1;

  // Map indexes of what was written (objects and classes share the numbering).
  std::unordered_map<const void*, UINT> m_storeMap;
  // What was read, by map index: an object or a class record with its stored schema.
  struct LoadEntry {
    void* p;
    bool isClass;
    UINT schema;
  };
  std::vector<LoadEntry> m_loadArray;
  UINT m_nMapCount = 1;
};

// Objects: `ar << pOb` writes an object reference, `ar >> pOb` reads one of any serialisable class.
KVDUTU_API CArchive& operator<<(CArchive& ar, const CObject* pOb);
KVDUTU_API CArchive& operator>>(CArchive& ar, CObject*& pOb);
KVDUTU_API CArchive& operator>>(CArchive& ar, const CObject*& pOb);

// Strings, wide and narrow.
KVDUTU_API CArchive& operator<<(CArchive& ar, const CStringW& str);
KVDUTU_API CArchive& operator>>(CArchive& ar, CStringW& str);
KVDUTU_API CArchive& operator<<(CArchive& ar, const CStringA& str);
KVDUTU_API CArchive& operator>>(CArchive& ar, CStringA& str);
// A literal or character pointer is a string, not a bool.
KVDUTU_API CArchive& operator<<(CArchive& ar, const wchar_t* psz);
KVDUTU_API CArchive& operator<<(CArchive& ar, const char* psz);
