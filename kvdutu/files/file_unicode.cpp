#include "kvdutu/files/file_unicode.h"

#include "kvdutu/platform/os/text.h"

namespace P = KvdUtils::Platform;

namespace {

int markAtStart(CFile* file) {
  file->Seek(0, CFile::begin);
  unsigned char head[2] = {0, 0};
  if (file->Read(head, 2) < 2) return 0;
  int tests = IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_REVERSE_SIGNATURE;
  const BOOL unicode = P::IsTextUnicode(head, 2, &tests);
  // The system says no to the big-endian mark and only leaves its bit in the result word, so
  // the bits decide, not the answer alone.
  return (unicode || (tests & (IS_TEXT_UNICODE_SIGNATURE | IS_TEXT_UNICODE_REVERSE_SIGNATURE))) ? 1 : 0;
}

}  // namespace

int su_IsFileUnicode(CFile* file) {
  if (!file) return 0;
  int result = 0;
  try {
    result = markAtStart(file);
  } catch (...) {
    try {
      file->Seek(0, CFile::begin);
    } catch (CException* e) {
      e->Delete();
    }
    throw;
  }
  file->Seek(0, CFile::begin);
  return result;
}
