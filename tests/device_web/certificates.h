#ifndef DEVICE_WEB_CERTIFICATES_H
#define DEVICE_WEB_CERTIFICATES_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temporary_folder.h"

namespace device {

// Certificates of a test's own, NAME.crt and NAME.key.
class Certificates {
 public:
  // Signed by that authority, which is made with its first one; for that address.
  // days below 0: it has expired.
  void make(const std::string& authority, const std::string& name, int days = 2,
            const std::string& address = "127.0.0.1") {
    if (!std::filesystem::exists(file(authority + ".crt"))) {
      run("req -x509 -days 2 -nodes " + KEY + " -subj /CN=" + authority + " -keyout " +
          file(authority + ".key") + " -out " + file(authority + ".crt"));
    }
    writeText(file("names"), "subjectAltName=IP:" + address + "\n");
    run("req " + KEY + " -nodes -subj /O=fleet/CN=" + name + " -keyout " + file(name + ".key") +
        " -out " + file(name + ".csr"));
    run("x509 -req -in " + file(name + ".csr") + " -CA " + file(authority + ".crt") + " -CAkey " +
        file(authority + ".key") + " -CAcreateserial -days " + std::to_string(days) + " -extfile " +
        file("names") + " -out " + file(name + ".crt"));
  }

  // The key again, under a passphrase.
  void encrypt(const std::string& name, const std::string& as) {
    run("ec -aes256 -passout pass:word -in " + file(name + ".key") + " -out " + file(as));
  }

  std::string file(const std::string& name) const { return folder.path(name); }

 private:
  static void run(const std::string& command) {
    EXPECT_EQ(0, std::system(("openssl " + command + " > /dev/null 2>&1").c_str())) << command;
  }

  inline static const std::string KEY = "-newkey ec -pkeyopt ec_paramgen_curve:P-256";
  TemporaryFolder folder;
};

}  // namespace device

#endif
