// SHA-256.
#pragma once

#include <openssl/evp.h>

#include <array>
#include <stdexcept>
#include <string>

namespace mvsms::gateway {

using Digest = std::array<unsigned char, 32>;

inline Digest DigestOf(const std::string& text) {
  Digest digest{};
  if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 cannot be used");
  }
  return digest;
}

}  // namespace mvsms::gateway
