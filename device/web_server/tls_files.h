#ifndef DEVICE_WEB_SERVER_TLS_FILES_H
#define DEVICE_WEB_SERVER_TLS_FILES_H

#include <string>

namespace device {

// Look at files of options as a connection would, so that what can never work is told at the start.
// Whether a certificate is valid today is not asked: a device may start before it knows the time.
// Throw WebOptionError.

// Certificates, in PEM.
void checkCaFile(const std::string& option, const std::string& path);

// A certificate, with those between it and its root if there are any, and its key, which is not
// encrypted.
void checkCertificateFiles(const std::string& option, const std::string& path,
                           const std::string& keyOption, const std::string& keyPath);

}  // namespace device

#endif
