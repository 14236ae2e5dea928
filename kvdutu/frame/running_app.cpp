#include "kvdutu/frame/running_app.h"

#include <cstdio>

#include "kvdutu/platform/os/text.h"

namespace P = KvdUtils::Platform;

IDispatch* GetKorvalindeObjByPID(long processId) {
  char narrow[256];
  std::snprintf(narrow, sizeof(narrow), "Korvalinde_PID_%d", static_cast<int>(processId));
  wchar_t itemName[256];
  if (P::MultiByteToWideChar(CP_ACP, 0, narrow, -1, itemName, 256) == 0) itemName[0] = 0;

  // The results of the next two steps are not tested, as in the system: a failure shows up as no
  // object below. The pointers start out null so that such a failure is harmless here.
  IRunningObjectTable* table = nullptr;
  P::GetRunningObjectTable(0, &table);
  IMoniker* moniker = nullptr;
  P::CreateItemMoniker(nullptr, itemName, &moniker);

  IUnknown* object = nullptr;
  if (table != nullptr && moniker != nullptr) table->GetObject(moniker, &object);
  if (moniker != nullptr) moniker->Release();
  if (table != nullptr) table->Release();

  // The reference GetObject returned is kept on both paths; the caller owns the IDispatch one.
  IDispatch* dispatch = nullptr;
  if (object != nullptr && SUCCEEDED(object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch))))
    return dispatch;
  return nullptr;
}
