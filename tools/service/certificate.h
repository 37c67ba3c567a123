// A throw-away TLS identity for the local service: a self-signed certificate
// for 127.0.0.1 and localhost, made fresh at start so that nothing secret is
// ever checked in and every run has its own.
#ifndef TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_
#define TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_

#include <string>

namespace tessarin::service {

struct CertificateFiles {
  std::string directory;        // a private temporary directory holding both files
  std::string certificatePath;  // PEM; a client trusts the service by trusting this file
  std::string keyPath;          // PEM private key
};

// Writes a new self-signed certificate (valid from now for one day, for the
// IP address 127.0.0.1 and the name "localhost") and its key into a new
// temporary directory. Returns false with `error` set when anything fails.
bool GenerateSelfSignedCertificate(CertificateFiles& files, std::string& error);

// Removes the files and their directory.
void RemoveCertificateFiles(const CertificateFiles& files);

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_
