// The frame's process state, scope objects and API controllers.
#include <gtest/gtest.h>

#include "kvdutu/frame/api_controllers.h"
#include "kvdutu/frame/app_identity.h"
#include "kvdutu/frame/scopes.h"
#include "kvdutu/frame/smart_dispatch.h"
#include "support/fake_dispatch.h"

TEST(AppIdentity, TheExampleFlagIsStoredAsGiven) {
  EXPECT_EQ(ut_isModelExample(), 0);
  setSaveModelAsExample(5);
  EXPECT_EQ(ut_isModelExample(), 5);  // the flag is stored as given
  setSaveModelAsExample(0);
  EXPECT_EQ(ut_isModelExample(), 0);
}

TEST(AppIdentity, InternalNameIsEmptyAtLoadAndReplaced) {
  EXPECT_TRUE(su_getAppNameInternalForUtils().IsEmpty());
  su_setAppNameInternalForUtils(CString(L"Korvalinde Viewer"));
  EXPECT_EQ(su_getAppNameInternalForUtils(), CString(L"Korvalinde Viewer"));
  su_setAppNameInternalForUtils(CString());
  EXPECT_TRUE(su_getAppNameInternalForUtils().IsEmpty());
}

TEST(EmbeddedTest, NestsAndGoesNegativeWithAStrayDestructor) {
  EXPECT_FALSE(EmbeddedTest::IsEmbedded());
  {
    EmbeddedTest outer;
    EXPECT_TRUE(EmbeddedTest::IsEmbedded());
    {
      EmbeddedTest inner;
      EXPECT_TRUE(EmbeddedTest::IsEmbedded());
    }
    EXPECT_TRUE(EmbeddedTest::IsEmbedded());  // the outer scope still holds
  }
  EXPECT_FALSE(EmbeddedTest::IsEmbedded());

  // A destructor without its constructor takes the count below zero; a new scope then only
  // brings it back to zero, which is not embedded.
  alignas(EmbeddedTest) unsigned char storage[sizeof(EmbeddedTest)];
  reinterpret_cast<EmbeddedTest*>(storage)->~EmbeddedTest();
  EXPECT_FALSE(EmbeddedTest::IsEmbedded());
  {
    EmbeddedTest scope;
    EXPECT_FALSE(EmbeddedTest::IsEmbedded());
  }
  new (storage) EmbeddedTest;  // restore the count for the rest of the process
  EXPECT_FALSE(EmbeddedTest::IsEmbedded());
}

TEST(DetailViewHelper, PublishesItsNameAndANestedScopeDoesNotRestoreTheOuter) {
  EXPECT_EQ(su_detailViewName(), nullptr);
  {
    DetailViewHelper_c outer;
    ASSERT_EQ(su_detailViewName(), &outer.m_name);
    *su_detailViewName() = L"Section A-A";  // callers write the name through the pointer
    EXPECT_EQ(outer.m_name, CString(L"Section A-A"));
    {
      DetailViewHelper_c inner;
      EXPECT_EQ(su_detailViewName(), &inner.m_name);
      EXPECT_TRUE(su_detailViewName()->IsEmpty());
    }
    EXPECT_EQ(su_detailViewName(), nullptr);
  }
  EXPECT_EQ(su_detailViewName(), nullptr);
}

TEST(ApiErrorMessageHandler, OutermostScopeOwnsTheErrorCode) {
  EXPECT_EQ(apiErrorMessageHandler::m_Controller, nullptr);
  {
    apiErrorMessageHandler outer(1);
    EXPECT_EQ(apiErrorMessageHandler::m_Controller, &outer);
    EXPECT_EQ(outer.GetErrorMessage(), -1);
    EXPECT_EQ(outer.IsAPIInitialised(), 1);
    {
      apiErrorMessageHandler inner(0);  // inert: the controller exists
      EXPECT_EQ(apiErrorMessageHandler::m_Controller, &outer);
      inner.SetErrorMessage(5);
      EXPECT_EQ(outer.GetErrorMessage(), 5);
      EXPECT_EQ(inner.IsAPIInitialised(), 1);  // goes to the controller
    }
    EXPECT_EQ(outer.GetErrorMessage(), 5);  // the end of the inner scope changes nothing
    EXPECT_EQ(outer.errorCode, 5);
  }
  EXPECT_EQ(apiErrorMessageHandler::m_Controller, nullptr);
  apiErrorMessageHandler fresh;
  EXPECT_EQ(apiErrorMessageHandler::m_Controller, &fresh);
  EXPECT_EQ(fresh.GetErrorMessage(), -1);
  EXPECT_EQ(fresh.IsAPIInitialised(), 0);
}

TEST(ApiColorSystemColorHandler, IsInitialisedForAnyPointerButTheController) {
  apiColorSystemColorHandler controller(0x00FF00FFu);
  apiColorSystemColorHandler inert(0x123u);
  EXPECT_EQ(controller.color, 0x00FF00FFu);
  EXPECT_EQ(apiColorSystemColorHandler::IsAPIInitialised(&controller), 0);
  EXPECT_EQ(apiColorSystemColorHandler::IsAPIInitialised(&inert), 1);
  EXPECT_EQ(apiColorSystemColorHandler::IsAPIInitialised(nullptr), 1);
}

TEST(ApiDocOptionNotificationHelper, ShouldUseWhileAControllerLivesAndSilentComesFromIt) {
  EXPECT_FALSE(apiDocOptionNotificationHelper::ShouldUse());
  {
    apiDocOptionNotificationHelper outer(1);
    EXPECT_TRUE(apiDocOptionNotificationHelper::ShouldUse());
    apiDocOptionNotificationHelper inner;  // default means not silent, but it is inert
    EXPECT_EQ(inner.IsSilent(), 1);
  }
  EXPECT_FALSE(apiDocOptionNotificationHelper::ShouldUse());
  apiDocOptionNotificationHelper quiet;
  EXPECT_EQ(quiet.IsSilent(), 0);
}

TEST(SmartDispatch, TakesOverTheReferenceAndReleasesOnce) {
  KvdTest::FakeDispatch object;
  object.AddRef();  // the reference the owner takes over
  {
    smartDispatch owner(&object);
    EXPECT_EQ(object.refs.load(), 2u);  // no AddRef of its own
  }
  EXPECT_EQ(object.refs.load(), 1u);
  { smartDispatch empty(nullptr); }  // nothing to release, nothing happens

  object.AddRef();
  {
    smartDispatch a(&object);
    smartDispatch b;
    b = a;  // copies the pointer, leaves the count alone
    EXPECT_EQ(object.refs.load(), 2u);
    b.m_pDispatch = nullptr;  // so that the reference is released once, by `a`
  }
  EXPECT_EQ(object.refs.load(), 1u);
}
