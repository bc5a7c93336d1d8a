#include "support/test_ca.h"

#include <cstdlib>
#include <stdexcept>

namespace kestrel::test {
namespace {

void certtool(const TempDir& dir, const std::string& arguments) {
  std::string command =
      "certtool " + arguments + " >>" + dir.file("certtool.log") + " 2>&1";
  if (std::system(command.c_str()) != 0)
    throw std::runtime_error("failed: " + command);
}

}  // namespace

TestCertificates::TestCertificates() {
  // Elliptic-curve keys: made in milliseconds, unlike RSA ones.
  const std::string keyType = "--generate-privkey --key-type=ecdsa ";
  std::string caKey = dir_.file("ca.key");
  key_ = dir_.file("server.key");
  ca_ = dir_.file("ca.pem");
  certificate_ = dir_.file("server.pem");
  std::string caTemplate = dir_.write("ca.tmpl",
                                      "cn = Kestrel Test CA\n"
                                      "ca\n"
                                      "cert_signing_key\n"
                                      "expiration_days = 2\n");
  std::string serverTemplate = dir_.write("server.tmpl",
                                          "cn = 127.0.0.1\n"
                                          "ip_address = 127.0.0.1\n"
                                          "dns_name = localhost\n"
                                          "tls_www_server\n"
                                          "signing_key\n"
                                          "expiration_days = 2\n");
  certtool(dir_, keyType + "--outfile " + caKey);
  certtool(dir_, "--generate-self-signed --load-privkey " + caKey +
                     " --template " + caTemplate + " --outfile " + ca_);
  certtool(dir_, keyType + "--outfile " + key_);
  certtool(dir_, "--generate-certificate --load-privkey " + key_ +
                     " --load-ca-certificate " + ca_ + " --load-ca-privkey " +
                     caKey + " --template " + serverTemplate + " --outfile " +
                     certificate_);
}

}  // namespace kestrel::test
