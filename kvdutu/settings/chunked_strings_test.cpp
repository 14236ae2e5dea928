// Long strings as runs of chunk values: where a string starts to be chunked, how the chunks are
// cut, the doubled last chunk that the format keeps, and how short and long values replace each
// other.
#include <ostream>
#include <string>

#include "kvdutu/settings/chunked_strings_internal.h"
#include "kvdutu/settings/settings_fixture_test.h"

namespace KvdSettingsTest {
namespace {

// A text of n characters in which every position can be told from every other.
CString patterned(int n) {
  CString text;
  for (int i = 0; i < n; ++i) text.AppendChar(static_cast<wchar_t>(L'A' + (i * 7 + i / 26) % 26));
  return text;
}

class ChunkedStrings : public VersionedSettingsTest {
 protected:
  // The names of the values in the test's section, chunks and plain values alike.
  int chunkCount(const CString& name) const {
    int n = 0;
    while (valueExists(HKEY_CURRENT_USER, currentPath(L"Text"), longStringChunkName(name, n))) ++n;
    return n;
  }
  bool plainExists(const CString& name) const { return valueExists(HKEY_CURRENT_USER, currentPath(L"Text"), name); }
  CString chunk(const CString& name, int n) const {
    DWORD type = 0;
    CString text;
    queryValue(HKEY_CURRENT_USER, currentPath(L"Text"), longStringChunkName(name, n), &type, &text);
    return text;
  }
  CString readBack(const CString& name) const {
    CString text;
    EXPECT_EQ(regGetUserValue(L"Text", name, text), 1);
    return text;
  }
};

TEST_F(ChunkedStrings, ChunkNames) {
  EXPECT_EQ(longStringChunkName(L"Path", 0), L"Path0+");
  EXPECT_EQ(longStringChunkName(L"Path", 12), L"Path12+");
}

TEST_F(ChunkedStrings, UpTo1022CharactersIsOnePlainValue) {
  for (int length : {0, 1, 1014, 1015, 1016, 1022}) {
    CString text = patterned(length);
    ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1) << length;
    EXPECT_TRUE(plainExists(L"S")) << length;
    EXPECT_EQ(chunkCount(L"S"), 0) << length;
    CString read(L"default");
    EXPECT_EQ(regGetUserValue(L"Text", L"S", read), 1);
    EXPECT_EQ(read, text) << length;  // a plain value replaces what the output held
  }
}

TEST_F(ChunkedStrings, From1023CharactersTheStringIsChunked) {
  CString text = patterned(1023);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1);
  EXPECT_FALSE(plainExists(L"S"));
  EXPECT_EQ(chunkCount(L"S"), 2);
  EXPECT_EQ(longStringChunkCount(1023), 2);
  EXPECT_EQ(chunk(L"S", 0), text.Left(1015));
  EXPECT_EQ(chunk(L"S", 1), text.Mid(1015));
  EXPECT_EQ(readBack(L"S"), text);
}

struct LengthCase {
  int length;
  int chunks;
  int readLength;  // the tail doubles when the length modulo 1015 is 0 or 1014
};

void PrintTo(const LengthCase& c, std::ostream* os) { *os << c.length << " characters"; }

class ChunkLengths : public ChunkedStrings, public ::testing::WithParamInterface<LengthCase> {};

TEST_P(ChunkLengths, AreCutIn1015CharacterPieces) {
  const LengthCase c = GetParam();
  CString text = patterned(c.length);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1);
  EXPECT_EQ(chunkCount(L"S"), c.chunks);
  EXPECT_EQ(longStringChunkCount(c.length), c.chunks);
  CString read = readBack(L"S");
  ASSERT_EQ(read.GetLength(), c.readLength);
  EXPECT_EQ(read.Left(c.length), text);
  if (c.readLength > c.length) {
    // The doubled last chunk: the last piece once more.
    const int piece = c.readLength - c.length;
    EXPECT_EQ(read.Mid(c.length), text.Right(piece));
    EXPECT_EQ(chunk(L"S", c.chunks - 1), chunk(L"S", c.chunks - 2));
  }
}

INSTANTIATE_TEST_SUITE_P(Boundaries, ChunkLengths,
                         ::testing::Values(LengthCase{1024, 2, 1024}, LengthCase{2028, 2, 2028},
                                           LengthCase{2029, 3, 3043}, LengthCase{2030, 3, 3045},
                                           LengthCase{2031, 3, 2031}, LengthCase{3044, 4, 4058},
                                           LengthCase{3045, 4, 4060}, LengthCase{3046, 4, 3046},
                                           LengthCase{5000, 5, 5000}),
                         [](const ::testing::TestParamInfo<LengthCase>& info) {
                           return "length" + std::to_string(info.param.length);
                         });

TEST_F(ChunkedStrings, ChunksAreAppendedToWhatTheOutputHolds) {
  CString text = patterned(1500);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1);
  CString read(L"default:");
  EXPECT_EQ(regGetUserValue(L"Text", L"S", read), 1);
  EXPECT_EQ(read, L"default:" + text);
}

TEST_F(ChunkedStrings, ShortAndLongValuesReplaceEachOther) {
  CString longText = patterned(3100);
  CString shortText(L"short");
  ASSERT_EQ(regSetUserValue(L"Text", L"S", shortText), 1);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", longText), 1);
  EXPECT_FALSE(plainExists(L"S"));
  EXPECT_EQ(chunkCount(L"S"), 4);
  EXPECT_EQ(readBack(L"S"), longText);

  ASSERT_EQ(regSetUserValue(L"Text", L"S", shortText), 1);
  EXPECT_TRUE(plainExists(L"S"));
  EXPECT_EQ(chunkCount(L"S"), 0);
  EXPECT_EQ(readBack(L"S"), L"short");

  // A shorter long string leaves no chunk of the longer one behind.
  ASSERT_EQ(regSetUserValue(L"Text", L"S", longText), 1);
  CString medium = patterned(1100);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", medium), 1);
  EXPECT_EQ(chunkCount(L"S"), 2);
  EXPECT_EQ(readBack(L"S"), medium);
}

TEST_F(ChunkedStrings, AGapEndsTheRun) {
  CString text = patterned(3100);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1);
  HKEY key = nullptr;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, currentPath(L"Text"), 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
  ASSERT_EQ(P::RegDeleteValueW(key, L"S1+"), ERROR_SUCCESS);
  CString read;
  EXPECT_EQ(readLongString(read, key, L"S"), 1);
  EXPECT_EQ(read, text.Left(1015));
  deleteLongStringChunks(L"S", key);  // stops at the gap
  P::RegCloseKey(key);
  EXPECT_EQ(chunkCount(L"S"), 0);
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Text"), L"S2+"));
  EXPECT_TRUE(valueExists(HKEY_CURRENT_USER, currentPath(L"Text"), L"S3+"));
  CString none(L"kept");
  EXPECT_EQ(regGetUserValue(L"Text", L"S", none), 0);
  EXPECT_EQ(none, L"kept");
  // Writing the name again clears only up to the gap as well; the new run then covers it.
  CString shorter = patterned(1200);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", shorter), 1);
  EXPECT_EQ(readBack(L"S"), shorter + chunk(L"S", 2) + chunk(L"S", 3));
}

TEST_F(ChunkedStrings, ANullKeyIsNotFoundAndNotWritten) {
  CString out(L"kept");
  EXPECT_EQ(readLongString(out, nullptr, L"S"), 0);
  EXPECT_EQ(out, L"kept");
  EXPECT_EQ(writeLongString(nullptr, L"S", patterned(2000)), 0);
}

TEST_F(ChunkedStrings, CharactersOutsideTheBasicPlaneCountAsTwoUnits) {
  // 600 such characters are 1200 UTF-16 units: chunked, and the first cut falls inside a pair.
  CString text;
  for (int i = 0; i < 600; ++i) text += L"\U0001F600";
  ASSERT_EQ(regSetUserValue(L"Text", L"U", text), 1);
  EXPECT_FALSE(plainExists(L"U"));
  EXPECT_EQ(chunkCount(L"U"), 2);
  EXPECT_EQ(readBack(L"U"), text);
}

TEST_F(ChunkedStrings, DeletingTheValueNameLeavesTheChunks) {
  CString text = patterned(2500);
  ASSERT_EQ(regSetUserValue(L"Text", L"S", text), 1);
  // The chunked value has no plain value to delete.
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Text", L"S", 0), 0);
  EXPECT_EQ(regDelSoftwareValue(HKEY_CURRENT_USER, L"Text", L"S", 1), 0);
  EXPECT_EQ(readBack(L"S"), text);
  // Its chunks are values of their own.
  for (int n = 0; n < 3; ++n) regDelSoftwareValue(HKEY_CURRENT_USER, L"Text", longStringChunkName(L"S", n), 1);
  EXPECT_EQ(chunkCount(L"S"), 0);
  CString gone(L"kept");
  EXPECT_EQ(regGetUserValue(L"Text", L"S", gone), 0);
  EXPECT_EQ(gone, L"kept");
}

}  // namespace
}  // namespace KvdSettingsTest
