// SPDX-License-Identifier: MIT
#include "Platform/Linux/UserServiceManager.h"

#include <utility>

#include "Platform/Linux/ChildProgram.h"

namespace quillbrook::UserServiceManager {
namespace {

constexpr const char* program = "systemctl";

Result<ChildProgram> start(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{program, "--user"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return ChildProgram::start(all, ChildProgram::Session::own);
}

}  // namespace

// A manager that answers has a version, whatever its state; without one the call fails.
ServiceManagerReach reach() {
  auto child = start({"show", "--property=Version", "--value"});
  if (!child) return ServiceManagerReach::notInstalled;
  return child->wait() == 0 ? ServiceManagerReach::running : ServiceManagerReach::notRunning;
}

std::expected<std::string, UserUnitError> run(const std::vector<std::string>& arguments) {
  auto child = start(arguments);
  if (!child) return std::unexpected(UserUnitErrors::SystemFailure{"start", FilePath(program), child.error()});
  const int exitCode = child->wait();
  if (exitCode == 0) return child->words();
  std::string command = std::string(program) + " --user";
  for (const std::string& argument : arguments) command += ' ' + argument;
  return std::unexpected(UserUnitErrors::CommandFailed{std::move(command), exitCode, child->words()});
}

}  // namespace quillbrook::UserServiceManager
