// su_CPtrArray: an array of untyped pointers, which it does not own. Pointers are addresses of this process and are never written to an archive: Serialize stores and loads nothing, and the class cannot be written with WriteObject (it is dynamic, not serial).
#pragma once

#include "kvdutu/platform/containers/su_collection_templates.h"
#include "kvdutu/platform/framework/cstring.h"

class KVDUTU_API su_CPtrArray : public KvdUtils::Containers::ArrayT<void*> {
  DECLARE_DYNCREATE(su_CPtrArray)
 public:
  su_CPtrArray();
  ~su_CPtrArray() override;
  void Serialize(su_CArchive& ar) override;
};
