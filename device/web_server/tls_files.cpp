#include "web_server/tls_files.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <fstream>
#include <memory>

#include "web_server/option_values.h"

namespace device {

namespace {

struct ContextDeleter {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using ContextPtr = std::unique_ptr<SSL_CTX, ContextDeleter>;

ContextPtr makeContext() {
  ContextPtr context(SSL_CTX_new(TLS_client_method()));
  if (!context) {
    throw WebOptionError("TLS is not to be had on this machine");
  }
  // Nobody is there to be asked for a passphrase.
  SSL_CTX_set_default_passwd_cb(context.get(), [](char*, int, int, void*) { return 0; });
  return context;
}

void requireReadable(const std::string& option, const std::string& path) {
  std::ifstream file(path);
  if (!file || file.peek() == std::ifstream::traits_type::eof()) {
    throw WebOptionError(option + ": cannot read " + path);
  }
}

[[noreturn]] void refuse(const std::string& what) {
  ERR_clear_error();
  throw WebOptionError(what);
}

}  // namespace

void checkCaFile(const std::string& option, const std::string& path) {
  requireReadable(option, path);
  const ContextPtr context = makeContext();
  if (SSL_CTX_load_verify_locations(context.get(), path.c_str(), nullptr) != 1) {
    refuse(option + ": no certificate in " + path);
  }
}

void checkCertificateFiles(const std::string& option, const std::string& path,
                           const std::string& keyOption, const std::string& keyPath) {
  requireReadable(option, path);
  requireReadable(keyOption, keyPath);
  const ContextPtr context = makeContext();
  if (SSL_CTX_use_certificate_chain_file(context.get(), path.c_str()) != 1) {
    refuse(option + ": no certificate in " + path);
  }
  // A key beside another's certificate is refused here, too.
  const bool fits =
      SSL_CTX_use_PrivateKey_file(context.get(), keyPath.c_str(), SSL_FILETYPE_PEM) == 1;
  if (!fits && ERR_GET_LIB(ERR_peek_last_error()) == ERR_LIB_X509) {
    refuse(keyOption + ": " + keyPath + " is not the key of " + path);
  }
  if (!fits) {
    refuse(keyOption + ": no key, or an encrypted one, in " + keyPath);
  }
}

}  // namespace device
