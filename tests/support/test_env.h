// Helpers shared by the test programs.
#pragma once

#include <filesystem>
#include <string>

namespace KvdTest {

// The private folder of this test program (made by the shared main).
std::filesystem::path testRoot();
void setTestRoot(const std::filesystem::path& root);

// A new, empty folder below `parent` whose name starts with `prefix`.
std::filesystem::path makeUniqueDir(const std::filesystem::path& parent, const std::string& prefix);

// A fresh folder below the test root for one test case.
std::filesystem::path scratchDir(const std::string& name);

// A file with exactly these bytes; the bytes of a file (empty when it cannot be read).
void writeBytes(const std::filesystem::path& path, const std::string& bytes);
std::string readBytes(const std::filesystem::path& path);

// The folder that holds the test programs and the helper programs they start.
std::filesystem::path binDir();
void setBinDir(const std::filesystem::path& dir);

}  // namespace KvdTest
