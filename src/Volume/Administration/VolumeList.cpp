// SPDX-License-Identifier: MIT
#include "Volume/Administration/VolumeList.h"

#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "Platform/Linux/DaemonAddress.h"
#include "Volume/Administration/MountedVolumes.h"

namespace quillbrook {

namespace {

using Answer = std::future<Result<DaemonAddress>>;

// In a thread that nobody waits for: a daemon that was stopped answers when it goes on, or never. Where no thread is to
// be had, the caller is the one to wait.
Answer ask(const FilePath& mountPoint) {
  const auto question = std::make_shared<std::packaged_task<Result<DaemonAddress>()>>(
      [mountPoint] { return DaemonAddress::ask(mountPoint); });
  Answer answer = question->get_future();
  try {
    std::thread([question] { (*question)(); }).detach();
  } catch (const std::system_error&) {
    (*question)();
  }
  return answer;
}

void fill(VolumeListing& volume, const Result<DaemonAddress>& address) {
  using Condition = VolumeListing::Condition;
  if (address) {
    volume.daemon = address->process;
    volume.condition = Condition::alive;
  } else {
    volume.condition = DaemonAddress::hasDied(address.error()) ? Condition::stale : Condition::closed;
  }
}

}  // namespace

Result<std::vector<VolumeListing>> VolumeList::read() {
  const auto mounted = MountedVolumes::read();
  if (!mounted) return std::unexpected(mounted.error());
  std::vector<VolumeListing> volumes;
  std::vector<Answer> answers;
  for (const MountedVolume& mount : *mounted) {
    // One that lies under another mount cannot be asked, and is nobody's volume any more.
    if (!mount.isTopmost) continue;
    volumes.push_back({.mountPoint = mount.mountPoint,
                       .source = mount.source,
                       .owner = mount.owner,
                       .daemon = std::nullopt,
                       .isReadOnly = mount.isReadOnly,
                       .condition = VolumeListing::Condition::silent});
    answers.push_back(ask(mount.mountPoint));
  }
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (std::size_t index = 0; index < volumes.size(); ++index) {
    if (answers[index].wait_until(deadline) == std::future_status::ready) fill(volumes[index], answers[index].get());
  }
  return volumes;
}

}  // namespace quillbrook
