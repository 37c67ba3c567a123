#include "service/certificate.h"

#include <arpa/inet.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>

namespace tessarin::service {
namespace {

template <class T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* p) const { Free(p); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Deleter<X509, X509_free>>;

bool AddExtension(X509* cert, int nid, const char* value) {
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
  X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
  if (!ext) return false;
  bool added = X509_add_ext(cert, ext, -1) == 1;
  X509_EXTENSION_free(ext);
  return added;
}

bool WritePem(const std::string& path, const std::function<int(FILE*)>& write) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  bool ok = write(file) == 1;
  return std::fclose(file) == 0 && ok;
}

}  // namespace

bool GenerateSelfSignedCertificate(CertificateFiles& files, std::string& error,
                                   const std::vector<std::string>& names) {
  std::string altNames;
  for (const std::string& name : names) {
    if (name.empty() || name.find_first_of(", ") != std::string::npos) {
      error = "certificate name \"" + name + "\" is empty or holds a comma or a space";
      return false;
    }
    if (!altNames.empty()) altNames += ",";
    // An address is matched as one, a name as a name.
    unsigned char address[16];
    bool ip = inet_pton(AF_INET, name.c_str(), address) == 1 || inet_pton(AF_INET6, name.c_str(), address) == 1;
    altNames += (ip ? "IP:" : "DNS:") + name;
  }
  if (altNames.empty()) {
    error = "a certificate needs at least one name";
    return false;
  }
  // An EC key is made in microseconds, which keeps test start-up fast.
  KeyPtr key(EVP_EC_gen("P-256"));
  CertPtr cert(X509_new());
  if (!key || !cert) {
    error = "cannot create key or certificate";
    return false;
  }
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), -60);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24 * 60 * 60);
  X509_set_pubkey(cert.get(), key.get());
  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>("Tessarin local service"), -1, -1, 0);
  X509_set_issuer_name(cert.get(), name);
  // Clients match the host they dialled against the subject alternative
  // names; the certificate is also its own authority so that trusting the
  // file is all a client has to do.
  if (!AddExtension(cert.get(), NID_subject_alt_name, altNames.c_str()) ||
      !AddExtension(cert.get(), NID_basic_constraints, "critical,CA:TRUE") ||
      !AddExtension(cert.get(), NID_key_usage, "critical,digitalSignature,keyCertSign") ||
      !AddExtension(cert.get(), NID_subject_key_identifier, "hash")) {
    error = "cannot add certificate extensions";
    return false;
  }
  if (X509_sign(cert.get(), key.get(), EVP_sha256()) == 0) {
    error = "cannot sign certificate";
    return false;
  }

  std::string pattern = (std::filesystem::temp_directory_path() / "tessarin-service-XXXXXX").string();
  if (!mkdtemp(pattern.data())) {
    error = "cannot create temporary directory";
    return false;
  }
  files.directory = pattern;
  files.certificatePath = pattern + "/certificate.pem";
  files.keyPath = pattern + "/key.pem";
  bool written =
      WritePem(files.certificatePath, [&](FILE* f) { return PEM_write_X509(f, cert.get()); }) &&
      WritePem(files.keyPath, [&](FILE* f) {
        return PEM_write_PrivateKey(f, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
      });
  if (!written) {
    error = "cannot write certificate files";
    RemoveCertificateFiles(files);
    return false;
  }
  return true;
}

void RemoveCertificateFiles(const CertificateFiles& files) {
  if (files.directory.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(files.directory, ignored);
}

}  // namespace tessarin::service
