// A throw-away TLS identity for the local service: a self-signed certificate
// for 127.0.0.1 and localhost (or for other names, to play a server that is
// not the one dialled), made fresh at start so that nothing secret is ever
// checked in and every run has its own.
#ifndef TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_
#define TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_

#include <string>
#include <vector>

namespace tessarin::service {

struct CertificateFiles {
  std::string directory;        // a private temporary directory holding both files
  std::string certificatePath;  // PEM; a client trusts the service by trusting this file
  std::string keyPath;          // PEM private key
};

// The names the local service's certificate is for by default.
inline const std::vector<std::string> kLoopbackCertificateNames = {"127.0.0.1", "localhost"};

// Writes a new self-signed certificate (valid from now for one day, for
// `names`: IP addresses and host names, by default the loopback address
// and "localhost") and its key into a new temporary directory. A
// certificate for other names is one a client dialling 127.0.0.1 must
// refuse as being for another host. Returns false with `error` set when
// anything fails.
bool GenerateSelfSignedCertificate(CertificateFiles& files, std::string& error,
                                   const std::vector<std::string>& names = kLoopbackCertificateNames);

// Removes the files and their directory.
void RemoveCertificateFiles(const CertificateFiles& files);

}  // namespace tessarin::service

#endif  // TESSARIN_TOOLS_SERVICE_CERTIFICATE_H_
