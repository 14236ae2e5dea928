#include "kvdutu/platform/framework/archive.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kvdutu/platform/containers/su_archive.h"
#include "kvdutu/platform/containers/su_object.h"
#include "kvdutu/platform/framework/exceptions.h"
#include "support/framework_expect.h"
#include "support/test_env.h"

using KvdUtils::Framework::MemoryArchiveStream;

// ---- Classes of the tests -------------------------------------------------------------------------

// A node of a small object graph: a number, a name and a link (which may close a cycle).
class ArchTestNode : public su_CObject {
  DECLARE_SERIAL(ArchTestNode)
 public:
  int value = 0;
  CString name;
  ArchTestNode* next = nullptr;
  bool ownsNext = false;
  static int live;

  ArchTestNode() { ++live; }
  ~ArchTestNode() override {
    --live;
    if (ownsNext) delete next;
  }
  void Serialize(su_CArchive& ar) override {
    su_CObject::Serialize(ar);
    if (ar.IsStoring()) {
      ar << value << name;
      ar.WriteObject(next);
    } else {
      ar >> value >> name;
      ar >> next;
    }
  }
};
int ArchTestNode::live = 0;
IMPLEMENT_SERIAL(ArchTestNode, su_CObject, 1)

// Written with schema 2, and accepting older schemas on load.
class ArchTestVersioned : public su_CObject {
  DECLARE_SERIAL(ArchTestVersioned)
 public:
  UINT loadedSchema = 0;
  WORD payload = 0;
  void Serialize(su_CArchive& ar) override {
    if (ar.IsStoring()) {
      ar << payload;
    } else {
      loadedSchema = ar.GetObjectSchema();
      ar >> payload;
    }
  }
};
IMPLEMENT_SERIAL(ArchTestVersioned, su_CObject, VERSIONABLE_SCHEMA | 2)

class ArchTestDynamicOnly : public su_CObject {
  DECLARE_DYNCREATE(ArchTestDynamicOnly)
};
IMPLEMENT_DYNCREATE(ArchTestDynamicOnly, su_CObject)

namespace {

std::vector<BYTE> storeWith(const std::function<void(su_CArchive&)>& write) {
  MemoryArchiveStream stream;
  {
    su_CArchive ar(&stream, CArchive::store);
    write(ar);
    ar.Close();
  }
  return stream.GetBytes();
}

// Runs body; the cause of the archive exception it throws, or -1.
int causeOf(const std::function<void()>& body) {
  try {
    body();
  } catch (CArchiveException* e) {
    const int cause = e->m_cause;
    e->Delete();
    return cause;
  }
  return -1;
}

// Runs body on a loading archive over bytes; the cause of the archive exception, or -1.
int loadCause(const std::vector<BYTE>& bytes, const std::function<void(su_CArchive&)>& body) {
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  return causeOf([&] { body(ar); });
}

const auto notSupported = &KvdTest::raises<CNotSupportedException>;

std::vector<BYTE> bytesOf(std::initializer_list<int> list) {
  std::vector<BYTE> v;
  for (int b : list) v.push_back(static_cast<BYTE>(b));
  return v;
}

// The tag of a class met for the first time: the new-class tag, the schema and the name.
std::vector<BYTE> newClass(int schema, const std::string& name) {
  std::vector<BYTE> v = bytesOf({0xFF, 0xFF, schema, 0x00, static_cast<int>(name.size()), 0x00});
  v.insert(v.end(), name.begin(), name.end());
  return v;
}

}  // namespace

// ---- Values --------------------------------------------------------------------------------------

TEST(Archive, EveryValueTypeRoundTripsAtItsFixedWidth) {
  const auto bytes = storeWith([](su_CArchive& ar) {
    ar << static_cast<BYTE>(0xAB) << static_cast<WORD>(0xBEEF) << static_cast<LONG>(-123456789)
       << static_cast<DWORD>(0xDEADBEEF) << -42 << 4000000000u << static_cast<short>(-2) << 'x'
       << static_cast<signed char>(-5) << L'\u20AC' << 1.5f << -2.25e300 << static_cast<LONGLONG>(-0x123456789ALL)
       << static_cast<ULONGLONG>(0xFEDCBA9876543210ULL) << true << false;
  });
  // 1 + 2 + 4 + 4 + 4 + 4 + 2 + 1 + 1 + 2 + 4 + 8 + 8 + 8 + 1 + 1
  EXPECT_EQ(bytes.size(), 55u);
  // Little-endian on every platform.
  EXPECT_EQ(bytes[1], 0xEF);
  EXPECT_EQ(bytes[2], 0xBE);

  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  BYTE by; WORD w; LONG l; DWORD dw; int i; unsigned u; short s; char c; signed char sc; wchar_t wc;
  float f; double d; LONGLONG ll; ULONGLONG ull; bool t, fa;
  ar >> by >> w >> l >> dw >> i >> u >> s >> c >> sc >> wc >> f >> d >> ll >> ull >> t >> fa;
  EXPECT_EQ(by, 0xAB);
  EXPECT_EQ(w, 0xBEEF);
  EXPECT_EQ(l, -123456789);
  EXPECT_EQ(dw, 0xDEADBEEFu);
  EXPECT_EQ(i, -42);
  EXPECT_EQ(u, 4000000000u);
  EXPECT_EQ(s, -2);
  EXPECT_EQ(c, 'x');
  EXPECT_EQ(sc, -5);
  EXPECT_EQ(wc, L'\u20AC');
  EXPECT_EQ(f, 1.5f);
  EXPECT_EQ(d, -2.25e300);
  EXPECT_EQ(ll, -0x123456789ALL);
  EXPECT_EQ(ull, 0xFEDCBA9876543210ULL);
  EXPECT_TRUE(t);
  EXPECT_FALSE(fa);
  EXPECT_TRUE(ar.IsBufferEmpty());
}

TEST(Archive, LongIsFourBytesWhereItIsNotLongLong) {
  const auto bytes = storeWith([](su_CArchive& ar) { ar << -7L << 7UL; });
  const size_t width = KvdUtils::Framework::kArchiveLongIs64 ? 8 : 4;
  ASSERT_EQ(bytes.size(), 2 * width);
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  long l = 0;
  unsigned long ul = 0;
  ar >> l >> ul;
  EXPECT_EQ(l, -7L);
  EXPECT_EQ(ul, 7UL);
}

TEST(Archive, CountsUseTheShortestForm) {
  const DWORD_PTR counts[] = {0, 1, 0xFFFE, 0xFFFF, 0x10000, 0xFFFFFFFEu};
  const auto bytes = storeWith([&](su_CArchive& ar) {
    for (DWORD_PTR n : counts) ar.WriteCount(n);
  });
  EXPECT_EQ(bytes.size(), 2u + 2 + 2 + 6 + 6 + 6);
  EXPECT_EQ(bytesOf({0xFE, 0xFF}), std::vector<BYTE>(bytes.begin() + 4, bytes.begin() + 6));
  EXPECT_EQ(bytesOf({0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00}), std::vector<BYTE>(bytes.begin() + 6, bytes.begin() + 12));
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  for (DWORD_PTR n : counts) EXPECT_EQ(ar.ReadCount(), n);
}

// ---- Strings -------------------------------------------------------------------------------------

TEST(Archive, StringsCarryLengthPrefixAndWideMarker) {
  EXPECT_EQ(storeWith([](su_CArchive& ar) { ar << CString(L"Hi"); }), bytesOf({0xFF, 0xFE, 0xFF, 2, 'H', 0, 'i', 0}));
  EXPECT_EQ(storeWith([](su_CArchive& ar) { ar << CStringA("Hi"); }), bytesOf({2, 'H', 'i'}));
  EXPECT_EQ(storeWith([](su_CArchive& ar) { ar << CString(); }), bytesOf({0xFF, 0xFE, 0xFF, 0}));
  // A character pointer is stored as a string, not as a truth value.
  EXPECT_EQ(storeWith([](su_CArchive& ar) { ar << L"Hi"; }), bytesOf({0xFF, 0xFE, 0xFF, 2, 'H', 0, 'i', 0}));
  EXPECT_EQ(storeWith([](su_CArchive& ar) { ar << "Hi"; }), bytesOf({2, 'H', 'i'}));
}

TEST(Archive, StringLengthsAtEveryPrefixBoundary) {
  for (int n : {0, 254, 255, 256, 0xFFFD, 0xFFFE, 0xFFFF, 0x10000}) {
    const CString wide(L'w', n);
    const CStringA narrow('n', n);
    const auto bytes = storeWith([&](su_CArchive& ar) { ar << wide << narrow; });
    const size_t prefix = n < 0xFF ? 1 : n < 0xFFFE ? 3 : 7;
    EXPECT_EQ(bytes.size(), 3 + prefix + 2 * static_cast<size_t>(n) + prefix + static_cast<size_t>(n)) << n;
    MemoryArchiveStream stream(bytes);
    su_CArchive ar(&stream, CArchive::load);
    CString wideBack;
    CStringA narrowBack;
    ar >> wideBack >> narrowBack;
    EXPECT_EQ(wideBack, wide) << n;
    EXPECT_EQ(narrowBack, narrow) << n;
  }
}

TEST(Archive, WideTextIsUtf16AndConvertsBetweenWidths) {
  const CString text(L"Gr\u00fc\u00dfe \u20AC \U0001F600");
  const auto bytes = storeWith([&](su_CArchive& ar) { ar << text << CStringA("caf\xC3\xA9"); });
  // 8 characters below U+10000 and one surrogate pair: 10 UTF-16 units.
  EXPECT_EQ(bytes[3], 10);
  EXPECT_EQ(bytes.size(), 4u + 20 + 1 + 5);

  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  CStringA narrowFromWide;
  CString wideFromNarrow;
  ar >> narrowFromWide >> wideFromNarrow;
  // Across widths the text goes through the system code page (UTF-8 on Linux, the ANSI code
  // page on Windows), as a string assignment between the widths does.
  EXPECT_EQ(narrowFromWide, CStringA(text));
  EXPECT_EQ(wideFromNarrow, CString(CStringA("caf\xC3\xA9")));
#if !defined(_WIN32)
  EXPECT_EQ(CString(narrowFromWide), text);
  EXPECT_EQ(wideFromNarrow, CString(L"caf\u00e9"));
#endif
}

TEST(Archive, WriteStringAndReadStringWorkInLines) {
  const auto bytes = storeWith([](su_CArchive& ar) {
    ar.WriteString(L"first\r\n");
    ar.WriteString(L"second\n");
    ar.WriteString(L"last");
  });
  EXPECT_EQ(bytes.size(), 2u * (7 + 7 + 4));
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  CString line;
  ASSERT_TRUE(ar.ReadString(line));
  EXPECT_EQ(line, CString(L"first"));
  wchar_t buffer[4];
  ASSERT_NE(ar.ReadString(buffer, 3), nullptr);
  EXPECT_STREQ(buffer, L"sec");
  ASSERT_TRUE(ar.ReadString(line));
  EXPECT_EQ(line, CString(L"ond"));
  ASSERT_TRUE(ar.ReadString(line));
  EXPECT_EQ(line, CString(L"last"));
  EXPECT_FALSE(ar.ReadString(line));
  EXPECT_EQ(ar.ReadString(buffer, 3), nullptr);
}

// ---- Object graphs ---------------------------------------------------------------------------------

// The layout of a two-node cycle: new class, object, back-reference to the class, back-reference
// to the first object. The same bytes are written and read back on every platform.
TEST(Archive, GoldenBytesOfASmallObjectGraphBothWays) {
  std::vector<BYTE> golden = newClass(1, "ArchTestNode");
  const auto rest = bytesOf({
      0x07, 0x00, 0x00, 0x00,             // a.value (object index 2)
      0xFF, 0xFE, 0xFF, 0x01, 'A', 0x00,  // a.name
      0x01, 0x80,                         // b: class by index 1 (object index 3)
      0xFF, 0xFF, 0xFF, 0xFF,             // b.value
      0xFF, 0xFE, 0xFF, 0x01, 'B', 0x00,  // b.name
      0x02, 0x00,                         // b.next: object 2 again
  });
  golden.insert(golden.end(), rest.begin(), rest.end());
  ArchTestNode a, b;
  a.value = 7;
  a.name = L"A";
  a.next = &b;
  b.value = -1;
  b.name = L"B";
  b.next = &a;
  EXPECT_EQ(storeWith([&](su_CArchive& ar) { ar << &a; }), golden);

  MemoryArchiveStream stream(golden);
  su_CArchive ar(&stream, CArchive::load);
  ArchTestNode* loaded = nullptr;
  ar >> loaded;
  ASSERT_NE(loaded, nullptr);
  std::unique_ptr<ArchTestNode> ownA(loaded);
  ASSERT_NE(loaded->next, nullptr);
  std::unique_ptr<ArchTestNode> ownB(loaded->next);
  EXPECT_EQ(loaded->value, 7);
  EXPECT_EQ(loaded->name, CString(L"A"));
  EXPECT_EQ(loaded->next->value, -1);
  EXPECT_EQ(loaded->next->name, CString(L"B"));
  EXPECT_EQ(loaded->next->next, loaded);  // the cycle is closed by identity, not by a copy
}

TEST(Archive, NullAndSharedReferencesKeepIdentity) {
  ArchTestNode shared;
  shared.value = 3;
  const auto bytes = storeWith([&](su_CArchive& ar) {
    ar.WriteObject(nullptr);
    ar << &shared << &shared;
  });
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  CObject *p0 = nullptr, *p1 = nullptr, *p2 = nullptr;
  ar >> p0 >> p1 >> p2;
  std::unique_ptr<CObject> own(p1);
  EXPECT_EQ(p0, nullptr);
  ASSERT_NE(p1, nullptr);
  EXPECT_EQ(p1, p2);
  EXPECT_EQ(static_cast<ArchTestNode*>(p1)->value, 3);
}

TEST(Archive, ManyObjectsUseBigTags) {
  // Past 0x7FFE map entries references switch to the 0x7FFF tag with a 32-bit index.
  constexpr int kCount = 0x8100;
  std::vector<std::unique_ptr<ArchTestVersioned>> objects;
  for (int i = 0; i < kCount; ++i) {
    objects.push_back(std::make_unique<ArchTestVersioned>());
    objects.back()->payload = static_cast<WORD>(i);
  }
  const auto bytes = storeWith([&](su_CArchive& ar) {
    for (auto& o : objects) ar << o.get();
    ar << objects.back().get() << objects.front().get();  // back-references, big and small
  });
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  std::vector<std::unique_ptr<CObject>> loaded;
  for (int i = 0; i < kCount; ++i) {
    CObject* p = ar.ReadObject(RUNTIME_CLASS(ArchTestVersioned));
    ASSERT_NE(p, nullptr);
    loaded.emplace_back(p);
    ASSERT_EQ(static_cast<ArchTestVersioned*>(p)->payload, static_cast<WORD>(i));
  }
  EXPECT_EQ(ar.ReadObject(nullptr), loaded.back().get());
  EXPECT_EQ(ar.ReadObject(nullptr), loaded.front().get());
}

TEST(Archive, VersionableClassAcceptsOtherSchemasAndReportsThem) {
  // Stored by an older build with schema 1.
  std::vector<BYTE> bytes = newClass(1, "ArchTestVersioned");
  bytes.push_back(0x34);
  bytes.push_back(0x12);
  MemoryArchiveStream stream(bytes);
  su_CArchive ar(&stream, CArchive::load);
  std::unique_ptr<CObject> p(ar.ReadObject(RUNTIME_CLASS(ArchTestVersioned)));
  auto* v = static_cast<ArchTestVersioned*>(p.get());
  EXPECT_EQ(v->loadedSchema, 1u);
  EXPECT_EQ(v->payload, 0x1234);
  // The schema can be asked once per object.
  EXPECT_EQ(ar.GetObjectSchema(), (UINT)-1);
}

TEST(Archive, SchemaMismatchIsBadSchema) {
  ArchTestNode node;
  auto bytes = storeWith([&](su_CArchive& ar) { ar << &node; });
  bytes[2] = 0x02;  // schema 2 where the class has 1 and is not versionable
  const int before = ArchTestNode::live;
  EXPECT_EQ(loadCause(bytes, [](su_CArchive& ar) { ar.ReadObject(nullptr); }), CArchiveException::badSchema);
  EXPECT_EQ(ArchTestNode::live, before);
}

TEST(Archive, UnknownOrUnexpectedClassIsBadClass) {
  ArchTestNode node;
  auto bytes = storeWith([&](su_CArchive& ar) { ar << &node; });
  auto unknown = bytes;
  unknown[6] = 'X';  // "XrchTestNode"
  EXPECT_EQ(loadCause(unknown, [](su_CArchive& ar) { ar.ReadObject(nullptr); }), CArchiveException::badClass);
  // A known class that is not the requested one.
  EXPECT_EQ(loadCause(bytes, [](su_CArchive& ar) { ar.ReadObject(RUNTIME_CLASS(ArchTestVersioned)); }),
            CArchiveException::badClass);
  // A class name longer than any class has.
  auto longName = bytes;
  longName[4] = 0xFF;
  EXPECT_EQ(loadCause(longName, [](su_CArchive& ar) { ar.ReadObject(nullptr); }), CArchiveException::badClass);
}

TEST(Archive, ReferencesToNothingAreBadIndex) {
  EXPECT_EQ(loadCause(bytesOf({0x05, 0x00}), [](su_CArchive& ar) { ar.ReadObject(nullptr); }),
            CArchiveException::badIndex);
  EXPECT_EQ(loadCause(bytesOf({0x01, 0x80}), [](su_CArchive& ar) { ar.ReadObject(nullptr); }),
            CArchiveException::badIndex);
  EXPECT_EQ(loadCause(bytesOf({0xFF, 0x7F, 0x00, 0x00, 0x01, 0x00}), [](su_CArchive& ar) { ar.ReadObject(nullptr); }),
            CArchiveException::badIndex);
}

TEST(Archive, TruncatedDataIsEndOfFileAndFreesTheHalfObject) {
  ArchTestNode a, b;
  a.name = L"first";
  a.next = &b;
  b.name = L"second";
  const auto bytes = storeWith([&](su_CArchive& ar) { ar << &a; });
  const int before = ArchTestNode::live;
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    std::vector<BYTE> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
    const int cause = loadCause(part, [](su_CArchive& ar) { ar.ReadObject(nullptr); });
    // Cut inside the class name, the name is unreadable: that is a bad class, not a short read.
    if (cut >= 6 && cut < 18)
      EXPECT_EQ(cause, CArchiveException::badClass) << cut;
    else
      EXPECT_EQ(cause, CArchiveException::endOfFile) << cut;
  }
  EXPECT_EQ(ArchTestNode::live, before);
}

TEST(Archive, DirectionIsEnforced) {
  MemoryArchiveStream output, input(bytesOf({1}));
  su_CArchive storing(&output, CArchive::store), loading(&input, CArchive::load);
  BYTE b = 0;
  EXPECT_EQ(causeOf([&] { storing >> b; }), CArchiveException::writeOnly);
  EXPECT_EQ(causeOf([&] { loading << b; }), CArchiveException::readOnly);
}

TEST(Archive, ObjectsWithoutASchemaOrThroughAPlainArchiveAreNotWritten) {
  ArchTestDynamicOnly dynamicOnly;
  ArchTestNode node;
  MemoryArchiveStream first, second;
  su_CArchive ar(&first, CArchive::store);
  CArchive plain(&second, CArchive::store);
  EXPECT_TRUE(notSupported([&] { ar << &dynamicOnly; }));
  EXPECT_TRUE(notSupported([&] { plain << &node; }));  // a plain archive cannot carry imported objects
}

// ---- Buffering, flushing and closing ------------------------------------------------------------

TEST(Archive, DestructionFlushesUnlessTold) {
  MemoryArchiveStream flushed, dropped;
  {
    su_CArchive ar(&flushed, CArchive::store, 4096);
    ar << 1234;
  }
  {
    su_CArchive ar(&dropped, CArchive::store | CArchive::bNoFlushOnDelete, 4096);
    ar << 1234;
  }
  EXPECT_EQ(flushed.GetBytes().size(), 4u);
  EXPECT_TRUE(dropped.GetBytes().empty());

  // Explicit Close writes everything even without the flush on destruction.
  MemoryArchiveStream closed;
  {
    su_CArchive ar(&closed, 2, 65536);
    ar << 1234 << CString(L"x");
    ar.Close();
  }
  EXPECT_EQ(closed.GetBytes().size(), 4u + 6);
}

TEST(Archive, SmallBufferSpillsAndLargeWritesGoStraightThrough) {
  std::vector<BYTE> big(1000);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<BYTE>(i * 7);
  MemoryArchiveStream stream;
  {
    su_CArchive ar(&stream, CArchive::store, 16);  // raised to the minimum of 128
    for (int i = 0; i < 100; ++i) ar << i;
    ar.Write(big.data(), static_cast<UINT>(big.size()));
    ar << static_cast<BYTE>(0x55);
  }
  ASSERT_EQ(stream.GetBytes().size(), 400u + 1000 + 1);
  stream.Seek(0, KvdUtils::Framework::ArchiveStream::begin);
  su_CArchive ar(&stream, CArchive::load, 16);
  for (int i = 0; i < 100; ++i) {
    int v;
    ar >> v;
    ASSERT_EQ(v, i);
  }
  std::vector<BYTE> back(big.size());
  EXPECT_EQ(ar.Read(back.data(), static_cast<UINT>(back.size())), back.size());
  EXPECT_EQ(back, big);
  BYTE last;
  ar >> last;
  EXPECT_EQ(last, 0x55);
  BYTE none[4];
  EXPECT_EQ(ar.Read(none, 4), 0u);
}

TEST(Archive, FlushWhileLoadingGivesUnreadBytesBack) {
  MemoryArchiveStream stream(bytesOf({1, 0, 0, 0, 2, 0, 0, 0, 3}));
  {
    su_CArchive ar(&stream, CArchive::load);
    int first;
    ar >> first;
    EXPECT_EQ(first, 1);
    ar.Flush();
  }
  // The stream stands right after the consumed integer.
  BYTE rest[5];
  EXPECT_EQ(stream.Read(rest, 5), 5u);
  EXPECT_EQ(rest[0], 2);
  EXPECT_EQ(rest[4], 3);
}

TEST(Archive, FileStreamRoundTripWithNameInExceptions) {
  const auto dir = KvdTest::scratchDir("archive_file");
  const auto path = dir / "data.bin";
  FILE* f = std::fopen(path.string().c_str(), "w+b");
  ASSERT_NE(f, nullptr);
  {
    KvdUtils::Framework::StdioArchiveStream stream(f, L"data.bin");
    su_CArchive ar(&stream, CArchive::store, 65536);
    ar << CString(L"payload") << 99;
    ar.Close();
    stream.Flush();
  }
  std::rewind(f);
  {
    KvdUtils::Framework::StdioArchiveStream stream(f, L"data.bin");
    su_CArchive ar(&stream, CArchive::load, 65536);
    CString s;
    int n;
    ar >> s >> n;
    EXPECT_EQ(s, CString(L"payload"));
    EXPECT_EQ(n, 99);
    try {
      ar >> n;
      FAIL() << "read past the end";
    } catch (CArchiveException* e) {
      EXPECT_EQ(e->m_cause, CArchiveException::endOfFile);
      EXPECT_EQ(e->m_strFileName, CString(L"data.bin"));
      e->Delete();
    }
  }
  std::fclose(f);
}
