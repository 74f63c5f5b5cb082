// SPDX-License-Identifier: MIT
#include "Volume/Administration/UserServiceManager.h"

#include <utility>

#include "Platform/FilePath.h"
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
Reach reach() {
  auto child = start({"show", "--property=Version", "--value"});
  if (!child) return Reach::notInstalled;
  return child->wait() == 0 ? Reach::running : Reach::notRunning;
}

std::expected<void, VolumeError> run(const std::vector<std::string>& arguments) {
  auto child = start(arguments);
  if (!child) return systemFailure("start", FilePath(program), child.error());
  const int exitCode = child->wait();
  if (exitCode == 0) return {};
  std::string command = std::string(program) + " --user";
  for (const std::string& argument : arguments) command += ' ' + argument;
  return std::unexpected(VolumeErrors::HelperFailed{std::move(command), exitCode, child->words()});
}

}  // namespace quillbrook::UserServiceManager
