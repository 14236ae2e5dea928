#include "kvdutu/frame/scopes.h"

namespace {
int g_embeddedCount = 0;  // a plain integer: the scopes are used on the main thread
CString* g_detailViewName = nullptr;
}  // namespace

EmbeddedTest::EmbeddedTest() { ++g_embeddedCount; }
EmbeddedTest::~EmbeddedTest() { --g_embeddedCount; }
bool EmbeddedTest::IsEmbedded() { return g_embeddedCount > 0; }

DetailViewHelper_c::DetailViewHelper_c() { g_detailViewName = &m_name; }
DetailViewHelper_c::~DetailViewHelper_c() { g_detailViewName = nullptr; }

CString*& su_detailViewName() { return g_detailViewName; }
