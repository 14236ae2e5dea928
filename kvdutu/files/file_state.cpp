#include "kvdutu/files/file_state.h"

#include "kvdutu/platform/framework/afx_message_box.h"
#include "kvdutu/platform/framework/file.h"
#include "kvdutu/platform/framework/stdio_file.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/volume.h"

namespace Os = KvdUtils::Platform;

namespace {

constexpr UINT kNotEnoughSpaceMessage = 11448;

// The host's message with %1, %2 and %3 replaced in one pass, so that an insert that itself holds
// "%2" is not replaced again.
CString formatInserts(const CString& text, const CString (&inserts)[3]) {
  CString result;
  const int length = text.GetLength();
  for (int i = 0; i < length; ++i) {
    if (text[i] == L'%' && i + 1 < length && text[i + 1] >= L'1' && text[i + 1] <= L'3') {
      result += inserts[text[i + 1] - L'1'];
      ++i;
    } else {
      result += text[i];
    }
  }
  return result;
}

[[noreturn]] void throwLastError(const CString& path) {
  const LONG error = static_cast<LONG>(Os::GetLastError());
  AfxThrowFileException(CFileException::OsErrorToException(error), error, path);
}

}  // namespace

int su_IsEnoughSpace(const CString& path, unsigned long bytes) {
  int firstSeparator = -1;
  for (int i = 0; i < path.GetLength(); ++i) {
    if (path[i] == L'\\' || path[i] == L'/') {
      firstSeparator = i;
      break;
    }
  }
  const CString root = path.Left(firstSeparator + 1);
  DWORD sectorsPerCluster = 0, bytesPerSector = 0, freeClusters = 0, totalClusters = 0;
  if (!Os::GetDiskFreeSpaceW(root, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters)) return 1;
  const unsigned long long clusterSize = static_cast<unsigned long long>(sectorsPerCluster) * bytesPerSector;
  if (clusterSize == 0) return 1;  // a volume that reports no cluster size gives no verdict
  // Rounded up without adding first, which would wrap for the largest requests.
  const unsigned long long request = bytes;
  const unsigned long long needed = request / clusterSize + (request % clusterSize != 0 ? 1 : 0);
  if (needed <= freeClusters) return 1;

  // The decision above is exact; the numbers shown are computed as the message always has been:
  // the free size in 32 bits, both printed as signed 32-bit values.
  const DWORD freeBytes32 = static_cast<DWORD>(clusterSize) * freeClusters;
  CString inserts[3];
  inserts[0] = root;
  inserts[1].Format(L"%d", static_cast<int>(static_cast<unsigned int>(bytes >> 10)));
  inserts[2].Format(L"%d", static_cast<int>(freeBytes32 >> 10));
  CString message;
  message.LoadString(kNotEnoughSpaceMessage);
  AfxMessageBox(formatInserts(message, inserts), MB_OK);
  return 0;
}

int su_IsReadOnly(const CString& path, int tryOpen) {
  if (!path.IsEmpty() && Os::_waccess(path, 0) == 0) {
    const DWORD attributes = Os::GetFileAttributesW(path);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY)) return 1;
  }
  if (!tryOpen) return 0;
  CFileException error;
  CFile file;
  if (file.Open(path, CFile::modeReadWrite | CFile::shareDenyWrite, &error)) {
    file.Abort();  // opened only to ask; closing it cannot fail in a way that matters here
    return 0;
  }
  return (error.m_cause == CFileException::accessDenied || error.m_cause == CFileException::sharingViolation) ? 1 : 0;
}

int su_SetReadOnlyFileFlag(CString& path, int readOnly) {
  CFileStatus status{};
  if (!CFile::GetStatus(path, status)) return 0;
  try {
    DWORD attributes = Os::GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) throwLastError(path);
    if (readOnly) attributes |= FILE_ATTRIBUTE_READONLY;
    else attributes &= ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
    if (!Os::SetFileAttributesW(path, attributes)) throwLastError(path);
  } catch (CFileException* e) {
    e->Delete();
    return 0;
  }
  return 1;
}

int su_IsWriteProtected(const wchar_t* root, CFileException* error, int removableOnly) {
  if (removableOnly && Os::GetDriveTypeW(root) != DRIVE_REMOVABLE) return 0;
  CString rootPath(root ? root : L"");
  if (rootPath.IsEmpty() || rootPath[rootPath.GetLength() - 1] != L'\\') rootPath += L'\\';
  wchar_t label[260 + 1] = {};
  wchar_t fileSystem[64 + 1] = {};
  DWORD serial = 0, maxComponent = 0, flags = 0;
  if (Os::GetVolumeInformationW(rootPath, label, 260, &serial, &maxComponent, &flags, fileSystem, 64)) {
    // Writing the label back is the cheapest write a volume can refuse; no dialog may ask for a
    // missing disk meanwhile.
    const UINT previous = Os::SetErrorMode(SEM_FAILCRITICALERRORS);
    const BOOL written = Os::SetVolumeLabelW(rootPath, label);
    const DWORD lastError = Os::GetLastError();
    Os::SetErrorMode(previous);
    Os::SetLastError(lastError);
    if (written) return 0;
  }
  if (error) {
    error->m_lOsError = static_cast<LONG>(Os::GetLastError());
    error->m_cause = CFileException::OsErrorToException(error->m_lOsError);
  }
  return 1;
}

int su_GetLastSavedTime(const CString& path, su_CTime& time) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (Os::_waccess(path, 0) != 0 || !Os::GetFileAttributesExW(path, GetFileExInfoStandard, &data)) return 0;
  try {
    time = su_CTime(CTime(data.ftLastWriteTime, -1));
  } catch (CException* e) {  // a last-write time the time type cannot hold
    e->Delete();
    return 0;
  }
  return 1;
}

int ut_appendStringToFile(const wchar_t* text, const wchar_t* file) {
  CStdioFile out;
  if (!out.Open(file, CFile::modeCreate | CFile::modeNoTruncate | CFile::typeText | CFile::shareDenyWrite |
                          CFile::modeWrite)) {
    return 0;
  }
  try {
    out.SeekToEnd();
    CString formatted;
    formatted.Format(L"%s", text);
    out.WriteString(formatted);
    out.Close();
  } catch (CException* e) {
    e->Delete();
    out.Abort();
    return 0;
  }
  return 1;
}
