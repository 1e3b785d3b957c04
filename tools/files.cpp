#include "tools/files.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "outside/asn1rt/ber_reader.h"
#include "tools/openssl_types.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void failOn(const std::string& path, const char* doing) {
  throw ToolError(std::string("cannot ") + doing + " " + path + ": " + std::strerror(errno));
}

void writeAll(std::FILE* file, const CBlob& bytes, const std::string& path) {
  if (!bytes.empty() && std::fwrite(bytes.pbData(), 1, bytes.cbData(), file) != bytes.cbData())
    failOn(path, "write");
}

void writeTo(const std::string& path, const CBlob& bytes, mode_t mode) {
  if (path == "-") {
    writeAll(stdout, bytes, "standard output");
    if (std::fflush(stdout) != 0) failOn("standard output", "write");
    return;
  }
  // Opened with the mode, so that a key is never readable by others, not even for a moment.
  std::remove(path.c_str());
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
  if (fd < 0) failOn(path, "create");
  FilePtr file(::fdopen(fd, "wb"), std::fclose);
  if (!file) {
    ::close(fd);
    failOn(path, "open");
  }
  writeAll(file.get(), bytes, path);
  if (std::fclose(file.release()) != 0) failOn(path, "write");
}

bool isPem(const CBlob& bytes) {
  static const char kBegin[] = "-----BEGIN ";
  const std::size_t n = sizeof kBegin - 1;
  if (bytes.cbData() < n) return false;
  const char* text = reinterpret_cast<const char*>(bytes.pbData());
  for (std::size_t i = 0; i + n <= bytes.cbData(); ++i) {
    if (std::memcmp(text + i, kBegin, n) == 0) return true;
    if (!std::isspace(static_cast<unsigned char>(text[i]))) return false;
  }
  return false;
}

BioPtr memoryBio(const CBlob& bytes) {
  BioPtr bio(BIO_new_mem_buf(bytes.pbData(), static_cast<int>(bytes.cbData())));
  if (!bio) throw ToolError("out of memory");
  return bio;
}

// The first PEM block's content, whatever its label.
bool fromPem(const CBlob& bytes, CBlob& der) {
  const BioPtr bio = memoryBio(bytes);
  char* name = nullptr;
  char* header = nullptr;
  unsigned char* data = nullptr;
  long length = 0;
  if (PEM_read_bio(bio.get(), &name, &header, &data, &length) != 1) return false;
  der.assign(data, static_cast<std::uint32_t>(length));
  OPENSSL_free(name);
  OPENSSL_free(header);
  OPENSSL_free(data);
  return !der.empty();
}

}  // namespace

CBlob readFile(const std::string& path) {
  std::FILE* source = stdin;
  FilePtr file(nullptr, std::fclose);
  if (path != "-") {
    file.reset(std::fopen(path.c_str(), "rb"));
    if (!file) failOn(path, "read");
    source = file.get();
  }
  std::string content;
  char chunk[1 << 16];
  std::size_t n;
  while ((n = std::fread(chunk, 1, sizeof chunk, source)) > 0) {
    content.append(chunk, n);
    if (content.size() > std::numeric_limits<std::uint32_t>::max())
      throw ToolError(path + " is too large");
  }
  if (std::ferror(source)) failOn(path, "read");
  return CBlob(content.data(), static_cast<std::uint32_t>(content.size()));
}

void writeFile(const std::string& path, const CBlob& bytes) {
  writeTo(path, bytes, 0644);
}

void writePrivateFile(const std::string& path, const CBlob& bytes) {
  writeTo(path, bytes, 0600);
}

void writeFileAtomically(const std::string& path, const CBlob& bytes) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  unsigned char random[8];
  if (RAND_bytes(random, sizeof random) != 1) throw ToolError("the random generator failed");
  const std::string temporary = folder + "." + path.substr(folder.size()) + "." +
                                hexText(CBlob(random, sizeof random)) + ".part";
  const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) failOn(path, "create a temporary for");
  bool written = true;
  for (std::size_t done = 0; written && done < bytes.cbData();) {
    const ssize_t n = ::write(fd, bytes.pbData() + done, bytes.cbData() - done);
    if (n < 0 && errno == EINTR) continue;
    written = n > 0;
    if (written) done += static_cast<std::size_t>(n);
  }
  written = written && ::fsync(fd) == 0;
  written = ::close(fd) == 0 && written;
  if (written && std::rename(temporary.c_str(), path.c_str()) == 0) return;
  const int error = errno;
  std::remove(temporary.c_str());
  errno = error;
  failOn(path, "write");
}

std::string toBase64(const CBlob& bytes) {
  std::string text(4 * ((bytes.cbData() + 2) / 3) + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(&text[0]), bytes.pbData(),
                                     static_cast<int>(bytes.cbData()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

bool fromBase64(const char* text, std::size_t length, CBlob& bytes) {
  std::string packed;
  packed.reserve(length);
  for (std::size_t i = 0; i < length; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (!std::isspace(c)) packed.push_back(static_cast<char>(c));
  }
  if (packed.empty() || packed.size() % 4 != 0 ||
      packed.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    return false;
  // EVP_DecodeBlock counts the padding as zero bytes; '=' anywhere else is refused.
  const std::size_t padding = packed.compare(packed.size() - 2, 2, "==") == 0 ? 2
                              : packed.back() == '='                          ? 1
                                                                              : 0;
  if (packed.find('=') < packed.size() - padding) return false;
  CBlob decoded(static_cast<std::uint32_t>(packed.size() / 4 * 3));
  const int n =
      EVP_DecodeBlock(decoded.pbData(), reinterpret_cast<const unsigned char*>(packed.data()),
                      static_cast<int>(packed.size()));
  if (n < 0 || static_cast<std::size_t>(n) <= padding) return false;
  decoded.resize_to(static_cast<std::uint32_t>(static_cast<std::size_t>(n) - padding));
  bytes = std::move(decoded);
  return true;
}

CBlob messageBytes(const CBlob& file, const std::string& path) {
  if (file.empty()) throw ToolError(path + " is empty");
  ASN1TAG tag;
  if (BER::BerReader::tagOf(file.pbData(), file.cbData(), tag) && tag == kTagSequence) return file;
  CBlob der;
  if (isPem(file) ? fromPem(file, der)
                  : fromBase64(reinterpret_cast<const char*>(file.pbData()), file.cbData(), der))
    return der;
  throw ToolError(path + " holds no DER, PEM or base64 message");
}

std::vector<CBlob> readCertificates(const std::string& path) {
  const CBlob file = readFile(path);
  std::vector<CBlob> certificates;
  if (isPem(file)) {
    const BioPtr bio = memoryBio(file);
    while (X509* certificate = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)) {
      const X509Ptr owned(certificate);
      unsigned char* der = nullptr;
      const int length = i2d_X509(certificate, &der);
      if (length > 0) certificates.emplace_back(der, static_cast<std::uint32_t>(length));
      OPENSSL_free(der);
    }
    ERR_clear_error();  // the end of the file reads as an error
  } else {
    const unsigned char* cursor = file.pbData();
    const X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(file.cbData())));
    if (certificate) certificates.push_back(file);
  }
  if (certificates.empty()) throw ToolError(path + " holds no certificate");
  return certificates;
}

}  // namespace Tools
}  // namespace Zanthorel
