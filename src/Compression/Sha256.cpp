// SPDX-License-Identifier: MIT
#include "Compression/Sha256.h"

#include <openssl/evp.h>

#include <cstdio>
#include <cstdlib>

namespace quillbrook {
namespace {

// Only a broken installation of the library makes these calls fail. Without a digest nothing may be replaced, and none
// of our files is half done that the next attempt would not clear up.
void require(int result) {
  if (result == 1) return;
  static_cast<void>(
      std::fputs("quillbrook: the cryptography library computes no SHA-256; mend its installation\n", stderr));
  std::abort();
}

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* context) const noexcept {
  EVP_MD_CTX_free(context);
}

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  require(context_ != nullptr ? 1 : 0);
  require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

void Sha256::update(std::span<const std::uint8_t> bytes) {
  require(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

Sha256::Digest Sha256::finalize() {
  Digest digest;
  require(EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr));
  return digest;
}

Sha256::Digest Sha256::hash(std::span<const std::uint8_t> bytes) {
  Sha256 hash;
  hash.update(bytes);
  return hash.finalize();
}

}  // namespace quillbrook
