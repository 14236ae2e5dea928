#include "kvdutu/platform/framework/object.h"

#include "kvdutu/platform/containers/su_string_array.h"
#include "kvdutu/platform/framework/exceptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

class ObjTestShape : public CObject {
  DECLARE_DYNAMIC(ObjTestShape)
 public:
  ObjTestShape() = default;
};
class ObjTestCircle : public ObjTestShape {
  DECLARE_DYNCREATE(ObjTestCircle)
 public:
  int radius = 5;
};
class ObjTestDisc : public ObjTestCircle {
  DECLARE_SERIAL(ObjTestDisc)
};

}  // namespace

IMPLEMENT_DYNAMIC(ObjTestShape, CObject)
IMPLEMENT_DYNCREATE(ObjTestCircle, ObjTestShape)
IMPLEMENT_SERIAL(ObjTestDisc, ObjTestCircle, VERSIONABLE_SCHEMA | 3)

TEST(RuntimeClass, RecordsCarryNameSizeSchemaAndBase) {
  const CRuntimeClass* rc = RUNTIME_CLASS(ObjTestDisc);
  EXPECT_STREQ(rc->m_lpszClassName, "ObjTestDisc");
  EXPECT_EQ(rc->m_nObjectSize, static_cast<int>(sizeof(ObjTestDisc)));
  EXPECT_EQ(rc->m_wSchema, VERSIONABLE_SCHEMA | 3);
  EXPECT_EQ(rc->GetBaseClass(), RUNTIME_CLASS(ObjTestCircle));
  EXPECT_EQ(RUNTIME_CLASS(ObjTestShape)->m_wSchema, 0xFFFFu);
  EXPECT_EQ(RUNTIME_CLASS(CObject)->GetBaseClass(), nullptr);
  EXPECT_EQ(ObjTestDisc::GetThisClass(), rc);
}

TEST(RuntimeClass, KindOfFollowsTheBaseChain) {
  ObjTestDisc disc;
  const CObject& asObject = disc;
  EXPECT_EQ(asObject.GetRuntimeClass(), RUNTIME_CLASS(ObjTestDisc));
  EXPECT_TRUE(disc.IsKindOf(RUNTIME_CLASS(ObjTestDisc)));
  EXPECT_TRUE(disc.IsKindOf(RUNTIME_CLASS(ObjTestCircle)));
  EXPECT_TRUE(disc.IsKindOf(RUNTIME_CLASS(CObject)));
  EXPECT_TRUE(disc.IsSerializable());

  ObjTestCircle circle;
  EXPECT_FALSE(circle.IsKindOf(RUNTIME_CLASS(ObjTestDisc)));
  EXPECT_FALSE(circle.IsSerializable());
  EXPECT_FALSE(RUNTIME_CLASS(ObjTestCircle)->IsDerivedFrom(nullptr));
  EXPECT_FALSE(RUNTIME_CLASS(ObjTestShape)->IsDerivedFrom(RUNTIME_CLASS(CException)));
}

TEST(RuntimeClass, CreationByRecordAndByName) {
  std::unique_ptr<CObject> circle(RUNTIME_CLASS(ObjTestCircle)->CreateObject());
  ASSERT_NE(circle, nullptr);
  EXPECT_EQ(circle->GetRuntimeClass(), RUNTIME_CLASS(ObjTestCircle));
  EXPECT_EQ(static_cast<ObjTestCircle*>(circle.get())->radius, 5);

  std::unique_ptr<CObject> disc(CRuntimeClass::CreateObject("ObjTestDisc"));
  ASSERT_NE(disc, nullptr);
  EXPECT_TRUE(disc->IsKindOf(RUNTIME_CLASS(ObjTestDisc)));
  std::unique_ptr<CObject> wide(CRuntimeClass::CreateObject(L"ObjTestDisc"));
  ASSERT_NE(wide, nullptr);

  // A dynamic-only class has a record but no way to be made from it.
  EXPECT_EQ(RUNTIME_CLASS(ObjTestShape)->CreateObject(), nullptr);
  EXPECT_EQ(CRuntimeClass::CreateObject("ObjTestShape"), nullptr);
  EXPECT_EQ(CRuntimeClass::CreateObject("NoSuchClass"), nullptr);
}

TEST(RuntimeClass, FromNameComparesWithCaseAndFindsLibraryClasses) {
  EXPECT_EQ(CRuntimeClass::FromName("ObjTestCircle"), RUNTIME_CLASS(ObjTestCircle));
  EXPECT_EQ(CRuntimeClass::FromName(L"ObjTestCircle"), RUNTIME_CLASS(ObjTestCircle));
  EXPECT_EQ(CRuntimeClass::FromName("objtestcircle"), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName(L"ObjTest\u00e9"), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName(static_cast<LPCSTR>(nullptr)), nullptr);
  // Records that live in the library are in the same list.
  EXPECT_EQ(CRuntimeClass::FromName("su_CStringArray"), RUNTIME_CLASS(su_CStringArray));
  EXPECT_EQ(CRuntimeClass::FromName("CFileException"), RUNTIME_CLASS(CFileException));
  EXPECT_EQ(CRuntimeClass::FromName("CObject"), RUNTIME_CLASS(CObject));
}

TEST(RuntimeClass, ClassListEnumeratesAndForgetsUnloadedRecords) {
  auto classes = KvdUtils::Framework::GetRegisteredClasses();
  auto has = [&](const CRuntimeClass* rc) { return std::find(classes.begin(), classes.end(), rc) != classes.end(); };
  EXPECT_TRUE(has(RUNTIME_CLASS(su_CStringArray)));
  EXPECT_TRUE(has(RUNTIME_CLASS(ObjTestDisc)));

  // A record whose registration ends (its module unloads) is no longer found.
  static CRuntimeClass transient = {"ObjTestTransient", 1, 1, nullptr, nullptr};
  {
    AFX_CLASSINIT init(&transient);
    EXPECT_EQ(CRuntimeClass::FromName("ObjTestTransient"), &transient);
    // The newest registration of a name wins.
    static CRuntimeClass shadow = {"ObjTestTransient", 2, 2, nullptr, nullptr};
    AFX_CLASSINIT shadowInit(&shadow);
    EXPECT_EQ(CRuntimeClass::FromName("ObjTestTransient"), &shadow);
    classes = KvdUtils::Framework::GetRegisteredClasses();
    EXPECT_EQ(classes.front(), &shadow);
  }
  EXPECT_EQ(CRuntimeClass::FromName("ObjTestTransient"), nullptr);
}

TEST(RuntimeClass, RegistrationAndLookUpFromManyThreads) {
  constexpr int kThreads = 4, kRecords = 50;
  static std::vector<std::string> names;
  names.clear();
  for (int t = 0; t < kThreads; ++t)
    for (int i = 0; i < kRecords; ++i) names.push_back("ObjTestThread" + std::to_string(t) + "_" + std::to_string(i));
  std::vector<CRuntimeClass> records(names.size());
  for (size_t i = 0; i < names.size(); ++i) records[i] = {names[i].c_str(), 1, 1, nullptr, nullptr};

  std::atomic<int> misses{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRecords; ++i) {
        CRuntimeClass* rc = &records[static_cast<size_t>(t * kRecords + i)];
        AfxClassInit(rc);
        if (CRuntimeClass::FromName(rc->m_lpszClassName) != rc) ++misses;
        if (CRuntimeClass::FromName("ObjTestCircle") != RUNTIME_CLASS(ObjTestCircle)) ++misses;
      }
      for (int i = 0; i < kRecords; ++i) KvdUtils::Framework::UnregisterClass(&records[static_cast<size_t>(t * kRecords + i)]);
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(misses.load(), 0);
  for (const auto& n : names) EXPECT_EQ(CRuntimeClass::FromName(n.c_str()), nullptr);
}
