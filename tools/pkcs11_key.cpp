#include "tools/pkcs11_key.h"

#include <dlfcn.h>
#include <libp11.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "tools/passphrase.h"
#include "tools/pkcs11_uri.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

constexpr int kPinIncorrect = 0xA0;  // CKR_PIN_INCORRECT, libp11's reason code for it

// The reason of the oldest error OpenSSL or libp11 queued, and the queue emptied.
std::string queuedReason() {
  const unsigned long error = ERR_get_error();
  ERR_clear_error();
  const char* reason = error != 0 ? ERR_reason_error_string(error) : nullptr;
  return reason != nullptr ? reason : "no reason given";
}

// Tried before libp11 loads it, which would print the loader's complaint on a line of its own.
void checkLibrary(const std::string& path) {
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw ToolError("cannot load the PKCS #11 module " + path + ": " + dlerror());
  const bool isModule = dlsym(library, "C_GetFunctionList") != nullptr;
  dlclose(library);
  if (!isModule) throw ToolError(path + " is no PKCS #11 module: it has no C_GetFunctionList");
}

// One loaded module with its slots, unloaded when the last key found in it goes.
class Module {
 public:
  static std::shared_ptr<Module> open(const std::string& path) {
    static std::mutex mutex;
    static std::map<std::string, std::weak_ptr<Module>> loaded;
    const std::lock_guard<std::mutex> lock(mutex);
    char* real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr)
      throw ToolError("cannot read the PKCS #11 module " + path + ": " + std::strerror(errno));
    const std::string canonical = real;
    std::free(real);
    if (auto module = loaded[canonical].lock()) return module;
    auto module = std::shared_ptr<Module>(new Module(path));
    loaded[canonical] = module;
    return module;
  }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  ~Module() {
    PKCS11_release_all_slots(context_, slots_, count_);
    PKCS11_CTX_unload(context_);
    PKCS11_CTX_free(context_);
  }

  const std::string& path() const { return path_; }
  PKCS11_CTX* context() const { return context_; }
  std::vector<PKCS11_SLOT*> slots() const {
    std::vector<PKCS11_SLOT*> all;
    for (unsigned i = 0; i < count_; ++i)
      all.push_back(&slots_[i]);
    return all;
  }
  // Held while a key is looked up and logged in to; signing needs no lock (libp11 gives each
  // signing thread a session of its own).
  std::mutex& mutex() { return mutex_; }

 private:
  explicit Module(const std::string& path) : path_(path), context_(nullptr) {
    checkLibrary(path);
    context_ = PKCS11_CTX_new();
    if (context_ == nullptr) throw ToolError("out of memory");
    if (PKCS11_CTX_load(context_, path.c_str()) != 0) {
      PKCS11_CTX_free(context_);
      throw ToolError("cannot load the PKCS #11 module " + path + ": " + queuedReason());
    }
    if (PKCS11_enumerate_slots(context_, &slots_, &count_) != 0) {
      const std::string reason = queuedReason();
      PKCS11_CTX_unload(context_);
      PKCS11_CTX_free(context_);
      throw ToolError("the PKCS #11 module " + path + " lists no slots: " + reason);
    }
  }

  std::string path_;
  PKCS11_CTX* context_;
  PKCS11_SLOT* slots_ = nullptr;
  unsigned count_ = 0;
  std::mutex mutex_;
};

std::string text(const char* value) {
  return value != nullptr ? value : "";
}

// Whether the slot holds a token that the URI's path attributes all fit.
bool fits(const Pkcs11Uri& uri, const Module& module, PKCS11_SLOT* slot) {
  const PKCS11_TOKEN* token = slot->token;
  // A token that is not initialised has no keys, and libp11 may wait forever logging in to it.
  if (token == nullptr || !token->initialized) return false;
  const std::map<std::string, std::string> actual = {
      {"token", text(token->label)},
      {"manufacturer", text(token->manufacturer)},
      {"model", text(token->model)},
      {"serial", text(token->serialnr)},
      {"slot-id", std::to_string(PKCS11_get_slotid_from_slot(slot))},
      {"slot-description", text(slot->description)},
      {"slot-manufacturer", text(slot->manufacturer)},
      {"library-description", text(module.context()->description)},
      {"library-manufacturer", text(module.context()->manufacturer)},
  };
  for (const auto& [name, value] : actual) {
    const auto wanted = uri.path.find(name);
    if (wanted != uri.path.end() && wanted->second != value) return false;
  }
  return true;
}

PKCS11_SLOT* tokenSlot(const Pkcs11Uri& uri, const Module& module, const std::string& shown) {
  std::vector<PKCS11_SLOT*> fitting;
  std::vector<std::string> tokens;
  for (PKCS11_SLOT* slot : module.slots()) {
    if (slot->token != nullptr && slot->token->initialized)
      tokens.push_back(text(slot->token->label));
    if (fits(uri, module, slot)) fitting.push_back(slot);
  }
  if (fitting.empty())
    throw ToolError("no token in the PKCS #11 module " + module.path() + " fits " + shown +
                    " (its tokens: " + (tokens.empty() ? "none" : joined(tokens)) + ")");
  if (fitting.size() > 1)
    throw ToolError(std::to_string(fitting.size()) + " tokens fit " + shown +
                    ": name one with token=LABEL");
  return fitting.front();
}

// The file of a pin-source: a path, or a file URI (file:/etc/pin, file:///etc/pin,
// file://localhost/etc/pin).
std::string pinFile(const std::string& source) {
  if (source.compare(0, 5, "file:") != 0) return source;
  const std::string rest = source.substr(5);
  if (rest.compare(0, 2, "//") != 0) return rest;
  const std::size_t path = rest.find('/', 2);
  const std::string host = rest.substr(2, path == std::string::npos ? path : path - 2);
  if (path == std::string::npos || (!host.empty() && host != "localhost"))
    throw ToolError("pin-source: " + source + " is no local file");
  return rest.substr(path);
}

void logIn(PKCS11_SLOT* slot, const Pkcs11Uri& uri, const std::optional<std::string>& pin) {
  const PKCS11_TOKEN* token = slot->token;
  const std::string label = text(token->label);
  int loggedIn = 0;
  if (!token->loginRequired || (PKCS11_is_logged_in(slot, 0, &loggedIn) == 0 && loggedIn)) return;
  if (token->userPinLocked) throw ToolError("the user PIN of the token " + label + " is locked");
  std::string secret;
  if (const std::string* value = uri.find("pin-value")) {
    secret = *value;
  } else if (const std::string* source = uri.find("pin-source")) {
    try {
      secret = firstLineOfFile(pinFile(*source));
    } catch (const ToolError& error) {
      throw ToolError(std::string("pin-source: ") + error.what());
    }
  } else if (pin) {
    secret = *pin;
  } else {
    throw ToolError("the token " + label +
                    " needs a PIN: give pin-value or pin-source in the URI, or -passin");
  }
  const int failed = PKCS11_login(slot, 0, secret.c_str());
  OPENSSL_cleanse(&secret[0], secret.size());
  if (failed == 0) return;
  const unsigned long error = ERR_peek_error();
  const std::string reason = queuedReason();
  if (ERR_GET_REASON(error) == kPinIncorrect)
    throw ToolError("wrong PIN for the token " + label + " (" + reason + ")");
  throw ToolError("cannot log in to the token " + label + ": " + reason);
}

bool fits(const Pkcs11Uri& uri, const PKCS11_KEY& key) {
  const auto label = uri.path.find("object");
  const auto id = uri.path.find("id");
  return key.isPrivate && (label == uri.path.end() || label->second == text(key.label)) &&
         (id == uri.path.end() ||
          id->second == std::string(reinterpret_cast<const char*>(key.id), key.id_len));
}

PKCS11_KEY* privateKey(PKCS11_SLOT* slot, const Pkcs11Uri& uri, const std::string& shown) {
  const std::string label = text(slot->token->label);
  PKCS11_KEY* keys = nullptr;
  unsigned count = 0;
  if (PKCS11_enumerate_keys(slot->token, &keys, &count) != 0)
    throw ToolError("cannot list the keys of the token " + label + ": " + queuedReason());
  std::vector<PKCS11_KEY*> fitting;
  std::vector<std::string> names;
  for (unsigned i = 0; i < count; ++i) {
    if (!keys[i].isPrivate) continue;
    names.push_back(text(keys[i].label));
    if (fits(uri, keys[i])) fitting.push_back(&keys[i]);
  }
  if (fitting.empty())
    throw ToolError("the token " + label + " holds no private key that fits " + shown +
                    " (its private keys: " + (names.empty() ? "none" : joined(names)) + ")");
  if (fitting.size() > 1)
    throw ToolError(std::to_string(fitting.size()) + " private keys of the token " + label +
                    " fit " + shown + ": name one with object=LABEL or id=ID");
  return fitting.front();
}

}  // namespace

SigningKey loadModuleKey(const std::string& text, const std::optional<std::string>& pin,
                         const std::string& modulePath) {
  const Pkcs11Uri uri = parsePkcs11Uri(text);
  const std::string shown = withoutPin(text);
  const std::string* uriModule = uri.find("module-path");
  if (uriModule != nullptr && !modulePath.empty() && *uriModule != modulePath)
    throw ToolError("the URI's module-path " + *uriModule + " and -pkcs11_module " + modulePath +
                    " name different modules");
  const std::string path = uriModule != nullptr ? *uriModule : modulePath;
  if (path.empty())
    throw ToolError("no PKCS #11 module for " + shown +
                    ": give -pkcs11_module PATH or module-path in the URI");
  const std::shared_ptr<Module> module = Module::open(path);
  const std::lock_guard<std::mutex> lock(module->mutex());
  PKCS11_SLOT* slot = tokenSlot(uri, *module, shown);
  logIn(slot, uri, pin);
  EvpPkeyPtr key(PKCS11_get_private_key(privateKey(slot, uri, shown)));
  if (!key) throw ToolError("cannot use the key " + shown + ": " + queuedReason());
  return {std::move(key), module, shown + " in " + path};
}

}  // namespace Tools
}  // namespace Zanthorel
