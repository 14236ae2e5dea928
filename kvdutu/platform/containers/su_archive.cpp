#include "kvdutu/platform/containers/su_archive.h"

su_CArchive::su_CArchive(KvdUtils::Framework::ArchiveStream* pFile, UINT nMode, int nBufSize, void* lpBuf)
    : CArchive(pFile, nMode, nBufSize, lpBuf) {}

su_CArchive::~su_CArchive() = default;
