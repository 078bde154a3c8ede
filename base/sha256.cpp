// FIPS 180-4, section 6.2, in its own names: W, K, H and the working variables a to h.
#include "base/sha256.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace mvsms {
namespace {

using Word = std::uint32_t;
using State = std::array<Word, 8>;

constexpr std::size_t kBlock = 64;  // bytes

constexpr std::array<Word, 64> K = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr State kStart = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                          0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

// The message, a bit of 1, zeros, and its length in bits as the last eight bytes of a whole block.
std::string Padded(std::string_view bytes) {
  std::string padded(bytes);
  padded += '\x80';
  padded.resize((bytes.size() + 9 + kBlock - 1) / kBlock * kBlock, '\0');
  const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
  for (std::size_t i = 0; i < 8; ++i) {
    padded[padded.size() - 1 - i] = static_cast<char>(bits >> (8 * i) & 0xFF);
  }
  return padded;
}

Word WordAt(std::string_view bytes, std::size_t at) {
  Word word = 0;
  for (const char c : bytes.substr(at, 4)) word = word << 8 | static_cast<unsigned char>(c);
  return word;
}

std::array<Word, 64> Schedule(std::string_view block) {
  std::array<Word, 64> W{};
  for (std::size_t t = 0; t < 16; ++t) W[t] = WordAt(block, 4 * t);
  for (std::size_t t = 16; t < 64; ++t) {
    const Word x = W[t - 15];
    const Word y = W[t - 2];
    const Word s0 = std::rotr(x, 7) ^ std::rotr(x, 18) ^ (x >> 3);
    const Word s1 = std::rotr(y, 17) ^ std::rotr(y, 19) ^ (y >> 10);
    W[t] = s1 + W[t - 7] + s0 + W[t - 16];
  }
  return W;
}

void Round(State& working, Word key) {
  auto& [a, b, c, d, e, f, g, h] = working;
  const Word S1 = std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25);
  const Word S0 = std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22);
  const Word T1 = h + S1 + ((e & f) ^ (~e & g)) + key;
  const Word T2 = S0 + ((a & b) ^ (a & c) ^ (b & c));
  working = {T1 + T2, a, b, c, d + T1, e, f, g};
}

void Add(State& H, std::string_view block) {
  const std::array<Word, 64> W = Schedule(block);
  State working = H;
  for (std::size_t t = 0; t < 64; ++t) Round(working, K[t] + W[t]);
  for (std::size_t i = 0; i < H.size(); ++i) H[i] += working[i];
}

std::string Hexadecimal(const State& H) {
  std::string text;
  for (const Word word : H) {
    for (int shift = 28; shift >= 0; shift -= 4) text += "0123456789abcdef"[word >> shift & 0xF];
  }
  return text;
}

}  // namespace

std::string Sha256(std::string_view bytes) {
  const std::string padded = Padded(bytes);
  State H = kStart;
  for (std::size_t at = 0; at < padded.size(); at += kBlock) {
    Add(H, std::string_view(padded).substr(at, kBlock));
  }
  return Hexadecimal(H);
}

}  // namespace mvsms
