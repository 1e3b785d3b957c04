// Vectors, files, hex, temporary folders and HRESULT text for the test programs.
#include "tests/support/test_support.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace zttsp_test {

std::string dataPath(const std::string& name) {
  return std::string(ZTTSP_TEST_DATA) + "/" + name;
}

std::string vectorPath(const std::string& name) {
  return dataPath("vectors/" + name);
}

Zanthorel::CBlob readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return blobOf(bytes);
}

void writeFile(const std::string& path, const Zanthorel::CBlob& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.pbData()), bytes.cbData());
  if (!out) throw std::runtime_error("cannot write " + path);
}

void writeText(const std::string& path, const std::string& text) {
  writeFile(path, blobOf(text));
}

std::string readText(const std::string& path) {
  const Zanthorel::CBlob bytes = readFile(path);
  return std::string(reinterpret_cast<const char*>(bytes.pbData()), bytes.cbData());
}

Zanthorel::CBlob fromHex(const std::string& hex) {
  std::string bytes;
  int high = -1;
  for (char c : hex) {
    int v;
    if (c >= '0' && c <= '9') {
      v = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      v = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      v = c - 'A' + 10;
    } else {
      continue;
    }
    if (high < 0) {
      high = v;
    } else {
      bytes.push_back(static_cast<char>(high * 16 + v));
      high = -1;
    }
  }
  return blobOf(bytes);
}

std::string toHex(const Zanthorel::CBlob& bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string hex;
  for (std::uint32_t i = 0; i < bytes.cbData(); ++i) {
    hex.push_back(kDigits[bytes.pbData()[i] >> 4]);
    hex.push_back(kDigits[bytes.pbData()[i] & 15]);
  }
  return hex;
}

Zanthorel::CBlob blobOf(const std::string& bytes) {
  return Zanthorel::CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

std::string runIn(const std::string& directory, const std::string& command) {
  const auto result = run("cd '" + directory + "' && " + command);
  EXPECT_EQ(0, result.status) << command << "\n" << result.output;
  return result.output;
}

TempDir::TempDir() {
  // /tmp also in the Windows build, where Wine's drive Z: maps it: host commands see it too.
  std::random_device entropy;
  for (int attempt = 0; attempt < 100; ++attempt) {
    char name[40];
    std::snprintf(name, sizeof name, "/tmp/zttsp-test-%08x%08x", entropy(), entropy());
    if (std::filesystem::create_directory(name)) {
      dir_ = name;
      return;
    }
  }
  throw std::runtime_error("cannot make a temporary directory in /tmp");
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

std::string TempDir::path(const std::string& name) const {
  return name.empty() ? dir_ : dir_ + "/" + name;
}

std::string hresultText(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
  return text;
}

}  // namespace zttsp_test
