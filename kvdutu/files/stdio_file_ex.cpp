#include "kvdutu/files/stdio_file_ex.h"

su_CStdioFileEx::su_CStdioFileEx() : m_bIsUnicodeText(false) {}
su_CStdioFileEx::~su_CStdioFileEx() = default;

bool su_CStdioFileEx::IsFileUnicodeText() { return m_bIsUnicodeText; }
