#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "kvdutu/platform/containers/su_archive.h"
#include "kvdutu/platform/containers/su_map_ptr_to_ptr.h"
#include "kvdutu/platform/containers/su_map_string_to_ptr.h"
#include "kvdutu/platform/containers/su_map_string_to_string.h"
#include "kvdutu/platform/containers/su_ptr_array.h"
#include "kvdutu/platform/containers/su_string_array.h"
#include "kvdutu/platform/containers/su_string_list.h"
#include "kvdutu/platform/containers/su_uint_array.h"
#include "kvdutu/platform/containers/su_word_array.h"
#include "kvdutu/platform/framework/exceptions.h"
#include "support/framework_expect.h"

using KvdUtils::Framework::MemoryArchiveStream;

namespace {

const auto raisesInvalidArg = &KvdTest::raises<CInvalidArgException>;

std::vector<std::wstring> contents(const su_CStringArray& a) {
  std::vector<std::wstring> v;
  for (INT_PTR i = 0; i < a.GetSize(); ++i) v.emplace_back(a[i].GetString());
  return v;
}

std::vector<std::wstring> contents(const su_CStringList& l) {
  std::vector<std::wstring> v;
  for (POSITION pos = l.GetHeadPosition(); pos != nullptr;) v.emplace_back(l.GetNext(pos).GetString());
  return v;
}

// Stores object through WriteObject and reads it back as a new object.
template <class T>
std::unique_ptr<T> roundTrip(const T& object) {
  MemoryArchiveStream stream;
  {
    su_CArchive ar(&stream, 2, 65536);
    ar << &object;
    ar.Close();
  }
  stream.Seek(0, KvdUtils::Framework::ArchiveStream::begin);
  su_CArchive ar(&stream, 3, 65536);
  T* loaded = nullptr;
  ar >> loaded;
  return std::unique_ptr<T>(loaded);
}

}  // namespace

// ---- Arrays --------------------------------------------------------------------------------------

TEST(SuArrays, GrowInsertRemoveAndCopy) {
  su_CStringArray a;
  EXPECT_TRUE(a.IsEmpty());
  EXPECT_EQ(a.GetUpperBound(), -1);
  EXPECT_EQ(a.GetData(), nullptr);
  EXPECT_EQ(a.Add(L"b"), 0);
  EXPECT_EQ(a.Add(CString(L"d")), 1);
  a.InsertAt(1, L"c");
  a.InsertAt(0, L"a");
  EXPECT_EQ(contents(a), (std::vector<std::wstring>{L"a", L"b", L"c", L"d"}));
  a.InsertAt(2, L"x", 3);
  EXPECT_EQ(contents(a), (std::vector<std::wstring>{L"a", L"b", L"x", L"x", L"x", L"c", L"d"}));
  a.RemoveAt(2, 3);
  a.RemoveAt(0);
  EXPECT_EQ(contents(a), (std::vector<std::wstring>{L"b", L"c", L"d"}));

  // Index past the end grows the array with empty elements.
  a.SetAtGrow(5, L"f");
  EXPECT_EQ(a.GetSize(), 6);
  EXPECT_EQ(a.GetCount(), 6);
  EXPECT_TRUE(a[4].IsEmpty());
  a.InsertAt(8, L"z", 2);
  EXPECT_EQ(a.GetSize(), 10);
  EXPECT_EQ(a[9], CString(L"z"));
  EXPECT_TRUE(a[7].IsEmpty());

  a.ElementAt(0) = L"B";
  a.SetAt(1, L"C");
  a[2] = L"D";
  EXPECT_EQ(a.GetAt(0) + a.GetAt(1) + a.GetAt(2), CString(L"BCD"));
  EXPECT_EQ(a.GetData()[2], CString(L"D"));

  su_CStringArray b;
  b.Add(L"1");
  b.Add(L"2");
  EXPECT_EQ(b.Append(a), 2);
  EXPECT_EQ(b.GetSize(), 12);
  b.InsertAt(1, &b);  // an array may insert itself
  EXPECT_EQ(b.GetSize(), 24);
  EXPECT_EQ(b[0], CString(L"1"));
  EXPECT_EQ(b[1], CString(L"1"));
  EXPECT_EQ(b[2], CString(L"2"));
  a.Copy(b);
  EXPECT_EQ(contents(a), contents(b));

  a.SetSize(2);
  EXPECT_EQ(a.GetSize(), 2);
  a.FreeExtra();
  a.RemoveAll();
  EXPECT_TRUE(a.IsEmpty());
}

TEST(SuArrays, BadIndexesRaiseTheInvalidArgumentException) {
  su_CUIntArray a;
  a.Add(1);
  a.Add(2);
  const su_CUIntArray& ca = a;
  EXPECT_TRUE(raisesInvalidArg([&] { (void)ca.GetAt(2); }));
  EXPECT_TRUE(raisesInvalidArg([&] { (void)ca[-1]; }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.SetAt(2, 5); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.ElementAt(-1); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.SetAtGrow(-1, 5); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.SetSize(-1); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.InsertAt(-1, 5); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.InsertAt(0, 5, 0); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.InsertAt(0, nullptr); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.RemoveAt(1, 2); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.RemoveAt(-1); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.RemoveAt(0, -1); }));
  EXPECT_TRUE(raisesInvalidArg([&] { a.Append(a); }));
  // Nothing was changed by the refused calls.
  EXPECT_EQ(a.GetSize(), 2);
  EXPECT_EQ(a[0], 1u);
  EXPECT_EQ(a[1], 2u);
}

TEST(SuArrays, SerialiseThroughTheArchive) {
  su_CStringArray strings;
  strings.Add(L"alpha");
  strings.Add(L"");
  strings.Add(L"\u00c4rger");
  auto s = roundTrip(strings);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(contents(*s), contents(strings));

  su_CUIntArray uints;
  uints.Add(0);
  uints.Add(0xFFFFFFFFu);
  uints.Add(42);
  auto u = roundTrip(uints);
  ASSERT_EQ(u->GetSize(), 3);
  EXPECT_EQ(u->GetAt(1), 0xFFFFFFFFu);
  EXPECT_EQ(u->GetAt(2), 42u);

  su_CWordArray words;
  words.SetSize(300);
  for (INT_PTR i = 0; i < 300; ++i) words[i] = static_cast<WORD>(i * 211);
  auto w = roundTrip(words);
  ASSERT_EQ(w->GetSize(), 300);
  for (INT_PTR i = 0; i < 300; ++i) ASSERT_EQ(w->GetAt(i), static_cast<WORD>(i * 211));
}

TEST(SuArrays, PointerArrayHoldsPointersAndStoresNone) {
  int x = 1, y = 2;
  su_CPtrArray p;
  p.Add(&x);
  p.Add(&y);
  p.InsertAt(1, static_cast<void*>(nullptr));
  EXPECT_EQ(p[0], &x);
  EXPECT_EQ(p[1], nullptr);
  EXPECT_EQ(p[2], &y);
  EXPECT_FALSE(p.IsSerializable());
  MemoryArchiveStream stream;
  su_CArchive ar(&stream, CArchive::store);
  p.Serialize(ar);
  ar.Close();
  EXPECT_TRUE(stream.GetBytes().empty());
}

// ---- List ---------------------------------------------------------------------------------------

TEST(SuStringList, WalkInsertAndRemoveByPosition) {
  su_CStringList l;
  EXPECT_EQ(l.GetHeadPosition(), nullptr);
  l.AddTail(L"b");
  l.AddHead(L"a");
  POSITION posD = l.AddTail(CString(L"d"));
  l.InsertBefore(posD, L"c");
  l.InsertAfter(posD, L"e");
  EXPECT_EQ(contents(l), (std::vector<std::wstring>{L"a", L"b", L"c", L"d", L"e"}));
  EXPECT_EQ(l.GetCount(), 5);
  EXPECT_EQ(l.GetHead(), CString(L"a"));
  EXPECT_EQ(l.GetTail(), CString(L"e"));

  std::vector<std::wstring> backwards;
  for (POSITION pos = l.GetTailPosition(); pos != nullptr;) backwards.emplace_back(l.GetPrev(pos).GetString());
  EXPECT_EQ(backwards, (std::vector<std::wstring>{L"e", L"d", L"c", L"b", L"a"}));

  l.SetAt(posD, L"D");
  EXPECT_EQ(l.GetAt(posD), CString(L"D"));
  l.RemoveAt(posD);
  EXPECT_EQ(l.RemoveHead(), CString(L"a"));
  EXPECT_EQ(l.RemoveTail(), CString(L"e"));
  EXPECT_EQ(contents(l), (std::vector<std::wstring>{L"b", L"c"}));

  // NULL positions insert at the ends.
  l.InsertBefore(nullptr, L"first");
  l.InsertAfter(nullptr, L"last");
  EXPECT_EQ(contents(l), (std::vector<std::wstring>{L"first", L"b", L"c", L"last"}));

  // Lists add copies of lists, also of themselves.
  su_CStringList other;
  other.AddTail(L"x");
  other.AddTail(L"y");
  l.AddHead(&other);
  l.AddTail(&other);
  EXPECT_EQ(contents(l), (std::vector<std::wstring>{L"x", L"y", L"first", L"b", L"c", L"last", L"x", L"y"}));
  other.AddTail(&other);
  EXPECT_EQ(contents(other), (std::vector<std::wstring>{L"x", L"y", L"x", L"y"}));

  l.RemoveAll();
  EXPECT_TRUE(l.IsEmpty());
  EXPECT_EQ(l.GetSize(), 0);
}

TEST(SuStringList, FindRespectsCaseAndStartsAfterAPosition) {
  su_CStringList l;
  l.AddTail(L"Part");
  POSITION second = l.AddTail(L"part");
  l.AddTail(L"Part");
  POSITION first = l.Find(L"Part");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, l.GetHeadPosition());
  EXPECT_EQ(l.Find(L"part"), second);
  EXPECT_EQ(l.Find(L"Part", first), l.GetTailPosition());
  EXPECT_EQ(l.Find(L"Part", l.GetTailPosition()), nullptr);
  EXPECT_EQ(l.Find(L"PART"), nullptr);
  EXPECT_EQ(l.FindIndex(1), second);
  EXPECT_EQ(l.FindIndex(3), nullptr);
  EXPECT_EQ(l.FindIndex(-1), nullptr);
}

TEST(SuStringList, EmptyListAndNullPositionsAreBadArguments) {
  su_CStringList l;
  EXPECT_TRUE(raisesInvalidArg([&] { l.GetHead(); }));
  EXPECT_TRUE(raisesInvalidArg([&] { l.GetTail(); }));
  EXPECT_TRUE(raisesInvalidArg([&] { l.RemoveHead(); }));
  EXPECT_TRUE(raisesInvalidArg([&] { l.RemoveTail(); }));
  POSITION none = nullptr;
  EXPECT_TRUE(raisesInvalidArg([&] { l.GetNext(none); }));
  EXPECT_TRUE(raisesInvalidArg([&] { l.GetAt(nullptr); }));
  EXPECT_TRUE(raisesInvalidArg([&] { l.RemoveAt(nullptr); }));
}

TEST(SuStringList, SerialisesInOrder) {
  su_CStringList l;
  for (const wchar_t* s : {L"one", L"two", L"three"}) l.AddTail(s);
  auto back = roundTrip(l);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(contents(*back), contents(l));
}

// ---- Maps ----------------------------------------------------------------------------------------

TEST(SuMaps, StringKeysRespectCase) {
  su_CMapStringToString m;
  m.SetAt(L"Key", L"upper");
  m[L"key"] = L"lower";
  CString value;
  ASSERT_TRUE(m.Lookup(L"Key", value));
  EXPECT_EQ(value, CString(L"upper"));
  ASSERT_TRUE(m.Lookup(L"key", value));
  EXPECT_EQ(value, CString(L"lower"));
  EXPECT_FALSE(m.Lookup(L"KEY", value));
  EXPECT_EQ(m.GetCount(), 2);
  m[L"Key"] += L"!";
  EXPECT_EQ(m[L"Key"], CString(L"upper!"));
  EXPECT_FALSE(m.RemoveKey(L"KEY"));
  EXPECT_TRUE(m.RemoveKey(L"Key"));
  EXPECT_FALSE(m.Lookup(L"Key", value));
  EXPECT_EQ(m.GetSize(), 1);
  m.RemoveAll();
  EXPECT_TRUE(m.IsEmpty());
  EXPECT_EQ(m.GetStartPosition(), nullptr);
}

TEST(SuMaps, IterationFollowsBucketsAndNewestFirstInAChain) {
  // The framework's string hash: h = h * 33 + unit. "a" = 97, "b" = 98, "r" = 114 (= 97 + 17).
  su_CMapStringToPtr m;
  EXPECT_EQ(m.GetHashTableSize(), 17u);
  int v1 = 1, v2 = 2, v3 = 3;
  m[L"a"] = &v1;  // bucket 97 % 17 = 12
  m[L"b"] = &v2;  // bucket 13
  m[L"r"] = &v3;  // bucket 12 again, ahead of "a" in the chain
  std::vector<std::wstring> order;
  for (POSITION pos = m.GetStartPosition(); pos != nullptr;) {
    CString key;
    void* value;
    m.GetNextAssoc(pos, key, value);
    order.emplace_back(key.GetString());
  }
  EXPECT_EQ(order, (std::vector<std::wstring>{L"r", L"a", L"b"}));

  void* found = nullptr;
  ASSERT_TRUE(m.Lookup(L"r", found));
  EXPECT_EQ(found, &v3);

  // A new table size keeps every entry.
  m.InitHashTable(101);
  EXPECT_EQ(m.GetHashTableSize(), 101u);
  EXPECT_EQ(m.GetCount(), 3);
  ASSERT_TRUE(m.Lookup(L"a", found));
  EXPECT_EQ(found, &v1);
  EXPECT_TRUE(raisesInvalidArg([&] { m.InitHashTable(0); }));
  POSITION none = nullptr;
  CString key;
  void* value;
  EXPECT_TRUE(raisesInvalidArg([&] { m.GetNextAssoc(none, key, value); }));
}

TEST(SuMaps, PointerMapAsASetOfIdentities) {
  su_CMapPtrToPtr seen(10);
  std::vector<int> items(100);
  for (int& i : items) seen[&i] = &i;
  seen.SetAt(&items[0], nullptr);
  EXPECT_EQ(seen.GetCount(), 100);
  void* v = &items[1];
  ASSERT_TRUE(seen.Lookup(&items[0], v));
  EXPECT_EQ(v, nullptr);
  std::set<void*> walked;
  for (POSITION pos = seen.GetStartPosition(); pos != nullptr;) {
    void* key;
    void* value;
    seen.GetNextAssoc(pos, key, value);
    walked.insert(key);
  }
  EXPECT_EQ(walked.size(), 100u);
  for (int& i : items) EXPECT_TRUE(seen.RemoveKey(&i));
  EXPECT_TRUE(seen.IsEmpty());
}

TEST(SuMaps, StringMapSerialisesEveryPair) {
  su_CMapStringToString m(10);
  std::map<std::wstring, std::wstring> expected;
  for (int i = 0; i < 50; ++i) {
    const std::wstring k = L"name" + std::to_wstring(i), v = L"value" + std::to_wstring(i * i);
    m.SetAt(k.c_str(), v.c_str());
    expected[k] = v;
  }
  auto back = roundTrip(m);
  ASSERT_NE(back, nullptr);
  std::map<std::wstring, std::wstring> got;
  for (POSITION pos = back->GetStartPosition(); pos != nullptr;) {
    CString k, v;
    back->GetNextAssoc(pos, k, v);
    got[k.GetString()] = v.GetString();
  }
  EXPECT_EQ(got, expected);
}

TEST(SuObject, RuntimeClassesOfTheContainers) {
  EXPECT_TRUE(RUNTIME_CLASS(su_CStringArray)->IsDerivedFrom(RUNTIME_CLASS(su_CObject)));
  EXPECT_TRUE(RUNTIME_CLASS(su_CMapStringToString)->IsDerivedFrom(RUNTIME_CLASS(CObject)));
  EXPECT_EQ(CRuntimeClass::FromName("su_CStringList"), RUNTIME_CLASS(su_CStringList));
  std::unique_ptr<CObject> made(CRuntimeClass::CreateObject("su_CMapPtrToPtr"));
  ASSERT_NE(made, nullptr);
  EXPECT_TRUE(made->IsKindOf(RUNTIME_CLASS(su_CMapPtrToPtr)));
}
