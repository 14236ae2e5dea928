#include "kvdutu/platform/framework/exceptions.h"

#include "kvdutu/platform/framework/afx_message_box.h"
#include "kvdutu/platform/os/message_box.h"
#include "kvdutu/platform/os/resources.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

struct Shown {
  std::wstring text;
  std::wstring caption;
  UINT type;
};

// Installs a responder that records every box and answers `answer`; restores the previous one.
class RecordingResponder {
 public:
  explicit RecordingResponder(int answer = IDOK) {
    m_previous = KvdUtils::Platform::SetMessageBoxResponder(
        [this, answer](HWND, const wchar_t* text, const wchar_t* caption, UINT type) {
          boxes.push_back({text, caption, type});
          return answer;
        });
  }
  ~RecordingResponder() { KvdUtils::Platform::SetMessageBoxResponder(m_previous); }
  std::vector<Shown> boxes;

 private:
  KvdUtils::Platform::MessageBoxResponder m_previous;
};

// Runs body, which must throw an E; the exception, which the caller deletes, or null.
template <class E, class F>
E* caught(F&& body) {
  try {
    body();
  } catch (E* e) {
    return e;
  }
  return nullptr;
}

std::wstring message(const CException& e) {
  wchar_t buffer[512];
  UINT help = 0;
  if (!e.GetErrorMessage(buffer, 512, &help)) return L"<none>";
  return buffer;
}

}  // namespace

TEST(Exceptions, ThrownAsPointersOfTheirClassAndFreedByDelete) {
  CException* e = caught<CException>([] { AfxThrowInvalidArgException(); });
  ASSERT_NE(e, nullptr);
  EXPECT_TRUE(e->IsKindOf(RUNTIME_CLASS(CInvalidArgException)));
  EXPECT_TRUE(e->IsKindOf(RUNTIME_CLASS(CSimpleException)));
  e->Delete();
  CNotSupportedException* notSupported = caught<CNotSupportedException>([] { AfxThrowNotSupportedException(); });
  ASSERT_NE(notSupported, nullptr);
  notSupported->Delete();
  CFileException* file =
      caught<CFileException>([] { AfxThrowFileException(CFileException::accessDenied, 5, L"C:\\x.txt"); });
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->m_cause, CFileException::accessDenied);
  EXPECT_EQ(file->m_lOsError, 5);
  EXPECT_EQ(file->m_strFileName, CString(L"C:\\x.txt"));
  file->Delete();
  CArchiveException* archive =
      caught<CArchiveException>([] { AfxThrowArchiveException(CArchiveException::badSchema); });
  ASSERT_NE(archive, nullptr);
  EXPECT_EQ(archive->m_cause, CArchiveException::badSchema);
  EXPECT_TRUE(archive->m_strFileName.IsEmpty());
  archive->Delete();
}

TEST(Exceptions, MemoryExceptionIsOneObjectThatDeleteKeeps) {
  CMemoryException* first = caught<CMemoryException>([] { AfxThrowMemoryException(); });
  ASSERT_NE(first, nullptr);
  first->Delete();  // must not free it: it is thrown again next time
  CMemoryException* again = caught<CMemoryException>([] { AfxThrowMemoryException(); });
  EXPECT_EQ(again, first);
  EXPECT_EQ(message(*first), L"Out of memory.");
  first->Delete();
}

TEST(Exceptions, MessagesNameTheFileOrAnUnnamedFile) {
  CFileException notFound(CFileException::fileNotFound, 2, L"C:\\data\\part.KVDPRT");
  EXPECT_EQ(message(notFound), L"C:\\data\\part.KVDPRT was not found.");
  CFileException unnamed(CFileException::diskFull);
  EXPECT_EQ(message(unnamed), L"Disk full while accessing an unnamed file.");
  CArchiveException schema(CArchiveException::badSchema, L"job.tmp");
  EXPECT_EQ(message(schema), L"job.tmp contains an incorrect schema.");
  EXPECT_EQ(message(CInvalidArgException()), L"Encountered an improper argument.");
  EXPECT_EQ(message(CException()), L"<none>");

  // The help context is the message number; a short buffer gets a cut, terminated text.
  wchar_t small[6];
  UINT help = 0;
  EXPECT_TRUE(notFound.GetErrorMessage(small, 6, &help));
  EXPECT_STREQ(small, L"C:\\da");
  EXPECT_EQ(help, static_cast<UINT>(AFX_IDP_FILE_NONE + CFileException::fileNotFound));
}

TEST(Exceptions, HostStringTableOverridesTheBuiltInTexts) {
  KvdUtils::Platform::RegisterStringResource(AFX_IDP_FILE_NONE + CFileException::accessDenied, L"Zugriff auf %1 verweigert.");
  CFileException e(CFileException::accessDenied, 5, L"a.txt");
  EXPECT_EQ(message(e), L"Zugriff auf a.txt verweigert.");
  KvdUtils::Platform::UnregisterStringResource(AFX_IDP_FILE_NONE + CFileException::accessDenied);
  EXPECT_EQ(message(e), L"Access to a.txt was denied.");
}

TEST(Exceptions, OsErrorsMapToCausesByTheFrameworkTable) {
  struct Row {
    LONG code;
    int cause;
  } rows[] = {{0, CFileException::none},
              {2, CFileException::fileNotFound},
              {3, CFileException::badPath},
              {4, CFileException::tooManyOpenFiles},
              {5, CFileException::accessDenied},
              {6, CFileException::fileNotFound},
              {16, CFileException::removeCurrentDir},
              {19, CFileException::accessDenied},
              {25, CFileException::badSeek},
              {32, CFileException::sharingViolation},
              {33, CFileException::lockViolation},
              {38, CFileException::endOfFile},
              {39, CFileException::diskFull},
              {80, CFileException::accessDenied},
              {112, CFileException::diskFull},
              {145, CFileException::removeCurrentDir},
              {183, CFileException::accessDenied},
              {206, CFileException::badPath},
              {62, CFileException::directoryFull},
              {87, CFileException::genericException},
              {-1, CFileException::genericException}};
  for (const Row& r : rows) EXPECT_EQ(CFileException::OsErrorToException(r.code), r.cause) << r.code;
}

TEST(Exceptions, ThrowOsErrorThrowsNothingForSuccess) {
  CFileException::ThrowOsError(0, L"x");  // returns
  CFileException* e = caught<CFileException>([] { CFileException::ThrowOsError(32, L"locked.dat"); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->m_cause, CFileException::sharingViolation);
  EXPECT_EQ(e->m_lOsError, 32);
  EXPECT_EQ(e->m_strFileName, CString(L"locked.dat"));
  e->Delete();
  e = caught<CFileException>([] { CFileException::ThrowErrno(ENOENT, L"gone"); });
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->m_cause, CFileException::fileNotFound);
  e->Delete();
}

TEST(Exceptions, ReportErrorShowsTheMessageThroughTheResponder) {
  RecordingResponder responder(IDRETRY);
  CFileException e(CFileException::sharingViolation, 32, L"model.KVDASM");
  EXPECT_EQ(e.ReportError(MB_RETRYCANCEL), IDRETRY);
  // The worker protocol reports with type 0 and message 0.
  e.ReportError(0, 0);
  ASSERT_EQ(responder.boxes.size(), 2u);
  EXPECT_EQ(responder.boxes[0].text, L"A sharing violation occurred while accessing model.KVDASM.");
  EXPECT_EQ(responder.boxes[0].type, MB_RETRYCANCEL);  // no icon added for retry boxes
  EXPECT_EQ(responder.boxes[1].type, MB_OK | MB_ICONEXCLAMATION);

  // Without a message of its own, the text is the given resource, or "no message".
  KvdUtils::Platform::RegisterStringResource(40001, L"The job failed.");
  CException plain;
  plain.ReportError(MB_OK, 40001);
  plain.ReportError();
  KvdUtils::Platform::UnregisterStringResource(40001);
  ASSERT_EQ(responder.boxes.size(), 4u);
  EXPECT_EQ(responder.boxes[2].text, L"The job failed.");
  EXPECT_EQ(responder.boxes[3].text, L"No error message is available.");
}

TEST(MessageBox, ResponderIsSwappedAndCaptionDefaults) {
  RecordingResponder outer(IDNO);
  {
    RecordingResponder inner(IDYES);
    EXPECT_EQ(AfxMessageBox(L"Save?", MB_YESNO), IDYES);
    ASSERT_EQ(inner.boxes.size(), 1u);
    EXPECT_EQ(inner.boxes[0].type, MB_YESNO | MB_ICONQUESTION);
    EXPECT_EQ(inner.boxes[0].caption, L"Error");
  }
  KvdUtils::Framework::SetMessageBoxCaption(L"Korvalinde");
  EXPECT_EQ(AfxMessageBox(L"Again?", MB_YESNO | MB_ICONWARNING), IDNO);
  KvdUtils::Framework::SetMessageBoxCaption(nullptr);
  ASSERT_EQ(outer.boxes.size(), 1u);
  EXPECT_EQ(outer.boxes[0].caption, L"Korvalinde");
  EXPECT_EQ(outer.boxes[0].type, MB_YESNO | MB_ICONWARNING);
}

TEST(MessageBox, DefaultAnswerIsTheDefaultButton) {
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_OK), IDOK);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_YESNO), IDYES);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_YESNO | MB_DEFBUTTON2), IDNO);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_YESNOCANCEL | MB_DEFBUTTON3), IDCANCEL);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_CANCELTRYCONTINUE | MB_DEFBUTTON2), IDTRYAGAIN);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_OK | MB_HELP | MB_DEFBUTTON2), IDHELP);
  // A default past the last button is the first button.
  EXPECT_EQ(KvdUtils::Platform::MessageBoxDefaultAnswer(MB_RETRYCANCEL | MB_DEFBUTTON4), IDRETRY);
#if !defined(_WIN32)
  // Headless: with no responder the box answers at once.
  auto previous = KvdUtils::Platform::SetMessageBoxResponder(nullptr);
  EXPECT_EQ(KvdUtils::Platform::MessageBoxW(nullptr, L"t", L"c", MB_OKCANCEL | MB_DEFBUTTON2), IDCANCEL);
  KvdUtils::Platform::SetMessageBoxResponder(previous);
#endif
}
