// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

struct evp_md_ctx_st;

namespace quillbrook {

// SHA-256 (FIPS 180-4), fed piece by piece. Belongs to one thread. Ends the process where the library cannot hash.
class Sha256 {
 public:
  using Digest = std::array<std::uint8_t, 32>;

  Sha256();

  void update(std::span<const std::uint8_t> bytes);
  // The digest of everything fed so far. Nothing may follow.
  [[nodiscard]] Digest finalize();

  [[nodiscard]] static Digest hash(std::span<const std::uint8_t> bytes);

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const noexcept;
  };
  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

}  // namespace quillbrook
