// SPDX-License-Identifier: MIT
#include "Container/Checksum.h"

#include <array>
#include <cstddef>

#include "Platform/LittleEndian.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#elif defined(__aarch64__)
#include <arm_acle.h>

#endif

namespace quillbrook::Checksum {
namespace {

// The polynomial 0x1EDC6F41, bits reflected, as the checksum shifts right.
constexpr std::uint32_t polynomial = 0x82F63B78;

// tables[k][b]: the register after the byte b and then k zero bytes, from a register of zero.
using SliceTables = std::array<std::array<std::uint32_t, 256>, 8>;

consteval SliceTables makeSliceTables() {
  SliceTables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? polynomial : 0);
    tables[0][byte] = value;
  }
  for (std::size_t k = 1; k < tables.size(); ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const auto before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
    }
  }
  return tables;
}

constexpr SliceTables sliceTables = makeSliceTables();

std::uint32_t updateFromTables(std::uint32_t value, std::span<const std::uint8_t> bytes) {
  const auto& t = sliceTables;
  while (bytes.size() >= 8) {
    const auto word = LittleEndian::load<std::uint64_t>(bytes.data()) ^ value;
    value = t[7][word & 0xFF] ^ t[6][word >> 8 & 0xFF] ^ t[5][word >> 16 & 0xFF] ^ t[4][word >> 24 & 0xFF] ^
            t[3][word >> 32 & 0xFF] ^ t[2][word >> 40 & 0xFF] ^ t[1][word >> 48 & 0xFF] ^ t[0][word >> 56];
    bytes = bytes.subspan(8);
  }
  for (const auto byte : bytes) value = (value >> 8) ^ t[0][(value ^ byte) & 0xFF];
  return value;
}

#if defined(__x86_64__) || defined(__aarch64__)

// The instruction has a latency of three cycles and can be issued in each: three streams, `lane` bytes apart, run side
// by side. Joining them moves a register over as many zero bytes as the streams behind it have: a linear map, kept
// as four tables of 256, one for each byte of the register.
using ShiftTables = std::array<std::array<std::uint32_t, 256>, 4>;

// Column i of a 32 x 32 matrix over GF(2): what bit i of the register becomes.
using Matrix = std::array<std::uint32_t, 32>;

constexpr std::uint32_t apply(const Matrix& matrix, std::uint32_t value) {
  std::uint32_t result = 0;
  for (std::size_t bit = 0; value != 0; ++bit, value >>= 1) {
    if ((value & 1) != 0) result ^= matrix[bit];
  }
  return result;
}

// `byteCount` is a power of two.
consteval ShiftTables makeShiftTables(std::size_t byteCount) {
  Matrix matrix{};
  matrix[0] = polynomial;
  for (std::size_t bit = 1; bit < 32; ++bit) matrix[bit] = std::uint32_t{1} << (bit - 1);
  for (std::size_t bits = 1; bits < byteCount * 8; bits *= 2) {
    Matrix squared{};
    for (std::size_t bit = 0; bit < 32; ++bit) squared[bit] = apply(matrix, matrix[bit]);
    matrix = squared;
  }
  ShiftTables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    for (std::size_t place = 0; place < 4; ++place) tables[place][byte] = apply(matrix, byte << (8 * place));
  }
  return tables;
}

std::uint32_t shift(const ShiftTables& tables, std::uint32_t value) {
  return tables[0][value & 0xFF] ^ tables[1][value >> 8 & 0xFF] ^ tables[2][value >> 16 & 0xFF] ^
         tables[3][value >> 24];
}

// A span of 64 KiB is five times three long lanes and a rest of one, which is five times three short ones and a rest.
constexpr std::size_t longLane = 4096;
constexpr std::size_t shortLane = 256;
constexpr ShiftTables longShift = makeShiftTables(longLane);
constexpr ShiftTables shortShift = makeShiftTables(shortLane);

#if defined(__x86_64__)
#define QUILLBROOK_WITH_CRC32C __attribute__((target("sse4.2")))

bool processorHasInstruction() {
  return __builtin_cpu_supports("sse4.2");
}

QUILLBROOK_WITH_CRC32C inline std::uint32_t step(std::uint32_t value, std::uint64_t word) {
  return static_cast<std::uint32_t>(_mm_crc32_u64(value, word));
}
QUILLBROOK_WITH_CRC32C inline std::uint32_t stepByte(std::uint32_t value, std::uint8_t byte) {
  return _mm_crc32_u8(value, byte);
}
#else
#define QUILLBROOK_WITH_CRC32C __attribute__((target("+crc")))

bool processorHasInstruction() {
  // The field CRC32 of the identification register, which the kernel lets programs read.
  std::uint64_t features = 0;
  asm("mrs %0, ID_AA64ISAR0_EL1" : "=r"(features));
  return (features >> 16 & 0xF) != 0;
}

QUILLBROOK_WITH_CRC32C inline std::uint32_t step(std::uint32_t value, std::uint64_t word) {
  return __crc32cd(value, word);
}
QUILLBROOK_WITH_CRC32C inline std::uint32_t stepByte(std::uint32_t value, std::uint8_t byte) {
  return __crc32cb(value, byte);
}
#endif

QUILLBROOK_WITH_CRC32C std::uint32_t updateLanes(std::uint32_t value, std::span<const std::uint8_t>& bytes,
                                                 std::size_t lane, const ShiftTables& tables) {
  while (bytes.size() >= 3 * lane) {
    const auto* first = bytes.data();
    std::uint32_t second = 0;
    std::uint32_t third = 0;
    for (std::size_t at = 0; at < lane; at += 8) {
      value = step(value, LittleEndian::load<std::uint64_t>(first + at));
      second = step(second, LittleEndian::load<std::uint64_t>(first + lane + at));
      third = step(third, LittleEndian::load<std::uint64_t>(first + 2 * lane + at));
    }
    value = shift(tables, shift(tables, value) ^ second) ^ third;
    bytes = bytes.subspan(3 * lane);
  }
  return value;
}

QUILLBROOK_WITH_CRC32C std::uint32_t updateByInstruction(std::uint32_t value, std::span<const std::uint8_t> bytes) {
  value = updateLanes(value, bytes, longLane, longShift);
  value = updateLanes(value, bytes, shortLane, shortShift);
  while (bytes.size() >= 8) {
    value = step(value, LittleEndian::load<std::uint64_t>(bytes.data()));
    bytes = bytes.subspan(8);
  }
  for (const auto byte : bytes) value = stepByte(value, byte);
  return value;
}

#endif

}  // namespace

std::uint32_t crc32cFromTables(std::span<const std::uint8_t> bytes) {
  return ~updateFromTables(~std::uint32_t{0}, bytes);
}

std::uint32_t crc32c(std::span<const std::uint8_t> bytes) {
#if defined(__x86_64__) || defined(__aarch64__)
  static const bool hasInstruction = processorHasInstruction();
  if (hasInstruction) return ~updateByInstruction(~std::uint32_t{0}, bytes);
#endif
  return crc32cFromTables(bytes);
}

}  // namespace quillbrook::Checksum
