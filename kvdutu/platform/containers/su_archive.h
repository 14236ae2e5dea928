// su_CArchive: the archive of the imported containers. It is the framework's archive (see
// framework/archive.h for the byte layout) under its own type, which su_CObject's
// Serialize(su_CArchive&) takes.
#pragma once

#include "kvdutu/platform/framework/archive.h"

class KVDUTU_API su_CArchive : public CArchive {
 public:
  // nMode: store 0, load 1, plus bNoFlushOnDelete 2 (so 2 stores and 3 loads without a flush when
  // the archive is destroyed).
  su_CArchive(KvdUtils::Framework::ArchiveStream* pFile, UINT nMode, int nBufSize = 4096, void* lpBuf = nullptr);
  ~su_CArchive() override;
};
