// Owning pointers for the OpenSSL objects the tools use, beside those of the platform layer.
#pragma once

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>

#include "platform/openssl_ptr.h"

namespace Zanthorel {
namespace Tools {

using Platform::BioPtr;
using Platform::EvpMdCtxPtr;
using Platform::EvpPkeyPtr;
using Platform::OpenSslDeleter;
using Platform::Pkcs8Ptr;
using Platform::X509Ptr;

using X509StorePtr = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE, X509_STORE_free>>;
using X509StoreCtxPtr =
    std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX, X509_STORE_CTX_free>>;
using X509NamePtr = std::unique_ptr<X509_NAME, OpenSslDeleter<X509_NAME, X509_NAME_free>>;

// A certificate stack that owns its certificates.
struct X509StackDeleter {
  void operator()(STACK_OF(X509) * stack) const noexcept { sk_X509_pop_free(stack, X509_free); }
};
using X509StackPtr = std::unique_ptr<STACK_OF(X509), X509StackDeleter>;

}  // namespace Tools
}  // namespace Zanthorel
