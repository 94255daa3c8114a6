#include "http/Certificate.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>

namespace host {
namespace {

using Bio = std::unique_ptr<BIO, decltype(&BIO_free_all)>;

std::string TimeText(const ASN1_TIME& time) {
  const Bio text(BIO_new(BIO_s_mem()), &BIO_free_all);
  if (!text || ASN1_TIME_print(text.get(), &time) != 1) return "an unreadable time";
  char* data = nullptr;
  const auto size = BIO_get_mem_data(text.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace

std::string CertificateRemark(const std::string& pem) {
  constexpr int kSoon = 30;
  const Bio text(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free_all);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(
      text ? PEM_read_bio_X509(text.get(), nullptr, nullptr, nullptr) : nullptr, &X509_free);
  if (!certificate) return {};
  const auto& begin = *X509_get0_notBefore(certificate.get());
  const auto& end = *X509_get0_notAfter(certificate.get());
  if (X509_cmp_current_time(&begin) > 0) return "is not valid before " + TimeText(begin);
  if (X509_cmp_current_time(&end) < 0) return "has expired on " + TimeText(end);
  int days = 0;
  int seconds = 0;
  const bool is_known = ASN1_TIME_diff(&days, &seconds, nullptr, &end) == 1;
  return is_known && days < kSoon ? "expires on " + TimeText(end) : "";
}

}  // namespace host
