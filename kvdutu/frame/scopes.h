// Scope objects of the library frame: they live on the caller's stack and do paired work in
// constructor and destructor.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

// Marks that the application runs embedded; nests.
class KVDUTU_API EmbeddedTest {
 public:
  EmbeddedTest();
  ~EmbeddedTest();
  EmbeddedTest(const EmbeddedTest&) = delete;
  EmbeddedTest& operator=(const EmbeddedTest&) = delete;
  // True when the nesting count is greater than 0.
  static bool IsEmbedded();
};

// Publishes the address of its name string for the extent of the scope. A nested scope does not
// restore the outer one: the pointer is null again after any scope ends.
class KVDUTU_API DetailViewHelper_c {
 public:
  DetailViewHelper_c();
  ~DetailViewHelper_c();
  DetailViewHelper_c(const DetailViewHelper_c&) = delete;
  DetailViewHelper_c& operator=(const DetailViewHelper_c&) = delete;

  CString m_name;
};

// The pointer itself, so that a caller can read and also write the innermost name; null outside
// any scope.
KVDUTU_API CString*& su_detailViewName();
