// SPDX-License-Identifier: MIT
#include "Platform/Linux/UserServiceManager.h"

#include <poll.h>

#include <optional>
#include <utility>

#include "Platform/Linux/ChildProgram.h"
#include "Platform/Linux/SystemCall.h"

namespace quillbrook::UserServiceManager {
namespace {

constexpr const char* program = "systemctl";
constexpr int timedOut = 124;  // as timeout(1) says it

Result<ChildProgram> start(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{program, "--user"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return ChildProgram::start(all, ChildProgram::Session::own);
}

// Its exit code; nothing for one that had to be ended, since it did not come back.
std::optional<int> waitFor(ChildProgram& child) {
  constexpr int patience = 120'000;  // milliseconds: longer than the manager gives a service to start
  if (const auto process = child.openProcess()) {
    pollfd ended{.fd = process->get(), .events = POLLIN, .revents = 0};
    if (SystemCall::retrying([&] { return ::poll(&ended, 1, patience); }) == 0) {
      child.terminate();
      return std::nullopt;
    }
  }
  return child.wait();
}

}  // namespace

// A manager that answers has a version, whatever its state; without one the call fails.
ServiceManagerReach reach() {
  auto child = start({"show", "--property=Version", "--value"});
  if (!child) return ServiceManagerReach::notInstalled;
  return waitFor(*child) == 0 ? ServiceManagerReach::running : ServiceManagerReach::notRunning;
}

std::expected<std::string, UserUnitError> run(const std::vector<std::string>& arguments) {
  auto child = start(arguments);
  if (!child) return std::unexpected(UserUnitErrors::SystemFailure{"start", FilePath(program), child.error()});
  const auto exitCode = waitFor(*child);
  if (exitCode == 0) return child->words();
  std::string command = std::string(program) + " --user";
  for (const std::string& argument : arguments) command += ' ' + argument;
  return std::unexpected(UserUnitErrors::CommandFailed{std::move(command), exitCode.value_or(timedOut),
                                                       exitCode ? child->words() : "it did not come back in time"});
}

}  // namespace quillbrook::UserServiceManager
