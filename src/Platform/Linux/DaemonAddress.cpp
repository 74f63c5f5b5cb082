// SPDX-License-Identifier: MIT
#include "Platform/Linux/DaemonAddress.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string>

#include "Platform/Linux/ParsedNumber.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"

namespace quillbrook {

std::optional<DaemonAddress> DaemonAddress::parse(std::string_view attribute) {
  constexpr std::string_view prefix = "/proc/";
  constexpr std::string_view middle = "/fd/";
  if (!attribute.starts_with(prefix)) return std::nullopt;
  const std::string_view rest = attribute.substr(prefix.size());
  const std::size_t slash = rest.find('/');
  if (slash == std::string_view::npos || !rest.substr(slash).starts_with(middle)) return std::nullopt;
  const auto process = parsedNumber<std::int32_t>(rest.substr(0, slash));
  const auto descriptor = parsedNumber<std::int32_t>(rest.substr(slash + middle.size()));
  if (!process || *process <= 0 || !descriptor || *descriptor < 0) return std::nullopt;
  return DaemonAddress{.process = *process, .source = FilePath(std::string(attribute))};
}

Result<DaemonAddress> DaemonAddress::ask(const FilePath& mountPoint) {
  std::array<char, 64> value{};
  const std::string name(VolumeProtocol::sourceAttribute);
  const ssize_t length = ::lgetxattr(mountPoint.c_str(), name.c_str(), value.data(), value.size());
  if (length < 0) return SystemCall::failure();
  const auto address = parse(std::string_view(value.data(), static_cast<std::size_t>(length)));
  if (!address) return std::unexpected(ErrorNumber::invalid);
  return *address;
}

// The second is what a request gets that was under way at that moment.
bool DaemonAddress::hasDied(ErrorNumber reason) {
  return reason.value == ENOTCONN || reason.value == ECONNABORTED;
}

}  // namespace quillbrook
