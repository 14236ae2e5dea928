// Shared main of the test programs: every program gets a private registry folder and temporary
// folder, removed at the end, so that tests never touch the user's own settings and never see
// each other's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/test_env.h"

namespace {

void setEnv(const char* name, const std::string& value) {
#if defined(_WIN32)
  _putenv_s(name, value.c_str());
#else
  setenv(name, value.c_str(), 1);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  namespace fs = std::filesystem;
  const bool keep = std::getenv("KVDUTU_TEST_KEEP") != nullptr;
  fs::path root = KvdTest::makeUniqueDir(fs::temp_directory_path(), "kvdutu-test-");
  KvdTest::setTestRoot(root);
  KvdTest::setBinDir(fs::absolute(fs::path(argv[0])).parent_path());
  fs::create_directories(root / "registry");
  fs::create_directories(root / "tmp");
  if (!std::getenv("KVDUTU_REGISTRY_DIR_KEEP")) setEnv("KVDUTU_REGISTRY_DIR", (root / "registry").string());
  int rc = RUN_ALL_TESTS();
  if (!keep) {
    std::error_code ec;
    fs::remove_all(root, ec);
  }
  return rc;
}
