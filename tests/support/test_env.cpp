#include "support/test_env.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>

namespace KvdTest {

namespace {
std::filesystem::path g_root;
std::filesystem::path g_bin;
std::atomic<unsigned> g_counter{0};
}  // namespace

std::filesystem::path testRoot() { return g_root; }
void setTestRoot(const std::filesystem::path& root) { g_root = root; }

std::filesystem::path makeUniqueDir(const std::filesystem::path& parent, const std::string& prefix) {
  std::random_device rd;
  std::mt19937_64 gen(rd() ^ static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()));
  for (int attempt = 0; attempt < 100; ++attempt) {
    auto candidate = parent / (prefix + std::to_string(gen() % 1000000000ull));
    std::error_code ec;
    if (std::filesystem::create_directory(candidate, ec) && !ec) return candidate;
  }
  throw std::runtime_error("cannot make a unique test folder");
}

std::filesystem::path scratchDir(const std::string& name) {
  auto dir = g_root / "scratch" / (name + "-" + std::to_string(g_counter++));
  std::filesystem::create_directories(dir);
  return dir;
}

void writeBytes(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

std::filesystem::path binDir() { return g_bin; }
void setBinDir(const std::filesystem::path& dir) { g_bin = dir; }

}  // namespace KvdTest
