// Certificates made at test time with certtool: a certificate authority
// and a server certificate it signed for 127.0.0.1 and localhost.
#pragma once

#include <string>

#include "support/temp_dir.h"

namespace kestrel::test {

class TestCertificates {
 public:
  // Throws when certtool fails. Two instances are two unrelated authorities.
  TestCertificates();

  const std::string& caCertificate() const { return ca_; }
  const std::string& certificate() const { return certificate_; }
  const std::string& key() const { return key_; }

 private:
  TempDir dir_;
  std::string ca_, certificate_, key_;
};

}  // namespace kestrel::test
