#include "tools/trust_store.h"

#include <openssl/err.h>
#include <sys/stat.h>

#include "tools/certificate.h"
#include "tools/command_line.h"
#include "tools/files.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

TrustStore::TrustStore(const std::vector<std::string>& files,
                       const std::vector<std::string>& folders)
    : store_(X509_STORE_new(), X509_STORE_free) {
  if (!store_) throw ToolError("out of memory");
  auto certificates = std::make_shared<std::vector<CBlob>>();
  for (const std::string& file : files) {
    for (const CBlob& der : readCertificates(file)) {
      X509_STORE_add_cert(store_.get(), Certificate(der).x509());
      certificates->push_back(der);
    }
  }
  for (const std::string& folder : folders) {
    struct stat status;
    if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))
      throw ToolError("cannot read " + folder + ": it is no folder");
    if (X509_STORE_load_path(store_.get(), folder.c_str()) != 1)
      throw ToolError("cannot read the certificates of " + folder);
  }
  if (files.empty() && folders.empty() && X509_STORE_set_default_paths(store_.get()) != 1)
    throw ToolError("cannot read the system's certificate store");
  ERR_clear_error();
  certificates_ = std::move(certificates);
}

TrustStore TrustStore::fromOptions(const CommandLine& options) {
  return TrustStore(options.values("CAfile"), options.values("CApath"));
}

}  // namespace Tools
}  // namespace Zanthorel
