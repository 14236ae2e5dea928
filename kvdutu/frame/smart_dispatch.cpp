#include "kvdutu/frame/smart_dispatch.h"

smartDispatch::~smartDispatch() {
  if (m_pDispatch != nullptr) m_pDispatch->Release();
}
