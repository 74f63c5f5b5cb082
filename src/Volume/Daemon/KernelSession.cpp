// SPDX-License-Identifier: MIT
#include "Volume/Daemon/KernelSession.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "Platform/Linux/FuseUnmount.h"
#include "Platform/Linux/MountTable.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Linux/VolumeProtocol.h"
#include "Volume/Daemon/KernelProtocol.h"
#include "Volume/Daemon/Volume.h"
#include "Volume/Daemon/VolumeLog.h"

namespace quillbrook {

namespace {

// CAP_SYS_ADMIN, which the kernel demands for backing files.
bool mayRegisterBacking() {
  __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
  return syscall(SYS_capget, &header, data.data()) == 0 && (data[0].effective & (1U << CAP_SYS_ADMIN)) != 0;
}

// Interrupts the wait of the thread that runs the session's loop; nothing else.
constexpr int wakeUpSignal = SIGUSR2;

// libfuse takes "," as the end of an option.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char byte : text) {
    if (byte == ',' || byte == '\\') result += '\\';
    result += byte;
  }
  return result;
}

}  // namespace

std::optional<KernelSession::OwnMount> KernelSession::OwnMount::at(const FilePath& path) {
  struct statx status{};
  // Asks the kernel alone, since nobody answers requests yet.
  constexpr int flags = AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT;
  if (::statx(AT_FDCWD, path.c_str(), flags, STATX_MNT_ID, &status) == -1) return std::nullopt;
  const auto table = MountTable::read();
  if (!table) return std::nullopt;
  const auto found = std::ranges::find(*table, status.stx_mnt_id, &MountEntry::identifier);
  if (found == table->end() || found->type != VolumeProtocol::mountType) return std::nullopt;
  return OwnMount{.identifier = status.stx_mnt_id,
                  .device = std::to_string(status.stx_dev_major) + ":" + std::to_string(status.stx_dev_minor)};
}

KernelSession::~KernelSession() {
  if (isMounted_) fuse_session_unmount(session_.get());
}

Result<void> KernelSession::mount(Volume& volume, const fuse_lowlevel_ops& operations,
                                  std::function<void()> whenReady) {
  const Options& options = volume.options;
  std::string list = "default_permissions,subtype=quillbrook,max_read=1048576,fsname=" + escaped(volume.source.path);
  // libfuse leaves set-id bits and devices out of every mount; in one made by root they stay as they were.
  if (geteuid() == 0) list += ",suid,dev";
  for (const std::string& option : options.mountOptions) list += "," + option;
  std::array<std::string, 3> texts{"quillbrook-volume", "-o", list};
  std::array<char*, 4> words{texts[0].data(), texts[1].data(), texts[2].data(), nullptr};
  fuse_args arguments = FUSE_ARGS_INIT(texts.size(), words.data());
  session_.reset(fuse_session_new(&arguments, &operations, sizeof operations, &volume));
  fuse_opt_free_args(&arguments);
  if (!session_) return std::unexpected(ErrorNumber::invalid);

  mayRegisterBacking_ = mayRegisterBacking();
  whenReady_ = std::move(whenReady);
  const std::string place =
      options.deviceDescriptor ? "/dev/fd/" + std::to_string(*options.deviceDescriptor) : options.mountPoint.bytes();
  if (fuse_session_mount(session_.get(), place.c_str()) != 0) {
    return std::unexpected(ErrorNumber{errno == 0 ? EIO : errno});
  }
  isMounted_ = true;
  loopThread_ = pthread_self();
  struct sigaction wakeUp{};
  wakeUp.sa_handler = [](int) {};
  if (sigaction(wakeUpSignal, &wakeUp, nullptr) != 0) return SystemCall::failure();
  ownMount_ = OwnMount::at(options.mountPoint);
  const fuse_custom_io io{.writev = send, .read = receive, .splice_receive = nullptr, .splice_send = nullptr};
  if (fuse_session_custom_io(session_.get(), &io, fuse_session_fd(session_.get())) != 0) {
    return std::unexpected(ErrorNumber{ENOMEM});
  }
  return {};
}

Result<void> KernelSession::serve() {
  fuse_loop_config* config = fuse_loop_cfg_create();
  if (config == nullptr) return std::unexpected(ErrorNumber{ENOMEM});
  // A descriptor for each thread, if the device can be opened again: it may have been handed over.
  fuse_loop_cfg_set_clone_fd(config, access("/dev/fuse", R_OK | W_OK) == 0 ? 1 : 0);
  // Whoever opens a file that is being turned back or replaced waits in one of them; others must not.
  fuse_loop_cfg_set_max_threads(config, 128);
  const int result = fuse_session_loop_mt(session_.get(), config);
  hasEnded_ = true;
  fuse_loop_cfg_destroy(config);
  if (result < 0) return std::unexpected(ErrorNumber{-result});
  return {};
}

void KernelSession::detach() {
  if (const auto table = MountTable::read(); table && ownMount_) {
    const auto own = std::ranges::find(*table, ownMount_->identifier, &MountEntry::identifier);
    // Out of sight already, by whomever: it is served to its last handle.
    if (own == table->end() || own->type != VolumeProtocol::mountType) return;
    // The folder may have another name by now. What somebody has mounted over it is not ours to take away.
    const bool isCovered = std::ranges::any_of(*table, [&](const MountEntry& other) {
      return other.parentIdentifier == own->identifier && other.mountPoint == own->mountPoint;
    });
    if (!isCovered && FuseUnmount::unmount(FilePath(own->mountPoint), FuseUnmount::Manner::lazily)) return;
  }
  // It cannot be taken out of sight: end without it. Whoever still uses it gets errors, as after a crash.
  volumeLog.write(LogLevel::error, "the mount could not be detached; the daemon ends all the same");
  fuse_session_exit(session_.get());
  // The loop looks at that only when it wakes.
  while (!hasEnded_) {
    pthread_kill(loopThread_, wakeUpSignal);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

// What the kernel does not know any more needs no telling, so its answers do not matter.
void KernelSession::forgetAttributes(fuse_ino_t node) const {
  fuse_lowlevel_notify_inval_inode(session_.get(), node, -1, 0);
}

void KernelSession::forgetListing(fuse_ino_t folder) const {
  fuse_lowlevel_notify_inval_inode(session_.get(), folder, 0, 0);
}

Result<std::int32_t> KernelSession::registerBacking(int file) const {
  KernelProtocol::BackingMap map{.descriptor = file, .flags = 0, .padding = 0};
  int identifier = ioctl(fuse_session_fd(session_.get()), KernelProtocol::backingOpen, &map);
  if (identifier < 0 && errno == EBADF) {  // before Linux 6.16 it had to be open, if only for reading
    const FileDescriptor opened(::open(SystemCall::pathOf(file).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!opened.isOpen()) return SystemCall::failure();
    map.descriptor = opened.get();
    identifier = ioctl(fuse_session_fd(session_.get()), KernelProtocol::backingOpen, &map);
  }
  if (identifier <= 0) return SystemCall::failure();
  return identifier;
}

void KernelSession::unregisterBacking(std::int32_t identifier) const {
  auto number = static_cast<std::uint32_t>(identifier);
  ioctl(fuse_session_fd(session_.get()), KernelProtocol::backingClose, &number);
}

// The kernel reads ahead 128 KiB in every FUSE mount, whatever is agreed on with it; the administrator may have it read
// more. A compressed file then comes in fewer requests, several of them under way at once.
void KernelSession::raiseReadAhead() const {
  if (!ownMount_) return;
  const FileDescriptor file(
      ::open(("/sys/class/bdi/" + ownMount_->device + "/read_ahead_kb").c_str(), O_WRONLY | O_CLOEXEC));
  // Who may not do this reads as before, only slower.
  constexpr std::string_view kibibytes = "1024";
  if (!file.isOpen()) return;
  [[maybe_unused]] const ssize_t written = ::write(file.get(), kibibytes.data(), kibibytes.size());
}

ssize_t KernelSession::receive(int device, void* buffer, std::size_t byteCount, void* userData) {
  KernelSession& self = static_cast<Volume*>(userData)->kernel;
  const ssize_t got = ::read(device, buffer, byteCount);
  self.answerCount_.load(std::memory_order_acquire);
  if (self.isInitialized_.load(std::memory_order_acquire) || got < 0) return got;
  fuse_in_header header{};
  fuse_init_in init{};
  if (static_cast<std::size_t>(got) < sizeof header + sizeof init) return got;
  std::memcpy(&header, buffer, sizeof header);
  if (header.opcode != FUSE_INIT) return got;
  std::memcpy(&init, static_cast<const char*>(buffer) + sizeof header, sizeof init);
  self.initRequest_ = header.unique;
  self.offeredFlags_ = init.flags;
  self.offeredFlags2_ = (init.flags & KernelProtocol::initExtended) != 0 ? init.flags2 : 0;
  return got;
}

ssize_t KernelSession::send(int device, iovec* parts, int count, void* userData) {
  KernelSession& self = static_cast<Volume*>(userData)->kernel;
  self.answerCount_.fetch_add(1, std::memory_order_release);
  if (self.isInitialized_.load(std::memory_order_acquire)) return ::writev(device, parts, count);
  fuse_out_header header{};
  KernelProtocol::InitReply reply{};
  if (count != 2 || parts[0].iov_len != sizeof header || parts[1].iov_len != sizeof reply) {
    return ::writev(device, parts, count);
  }
  std::memcpy(&header, parts[0].iov_base, sizeof header);
  if (header.unique != self.initRequest_ || header.error != 0) return ::writev(device, parts, count);
  std::memcpy(&reply, parts[1].iov_base, sizeof reply);
  reply.flags |= self.offeredFlags_ & KernelProtocol::handleKillprivV2;
  if (self.mayRegisterBacking_ && (self.offeredFlags2_ & KernelProtocol::passthroughSecondWord) != 0) {
    reply.flags |= KernelProtocol::initExtended;
    reply.flags2 |= KernelProtocol::passthroughSecondWord;
    reply.maxStackDepth = 1;
    self.hasPassthrough_ = true;
  }
  std::array<iovec, 2> completed{parts[0], iovec{.iov_base = &reply, .iov_len = sizeof reply}};
  // Before the answer: the next request may come to another thread at once.
  self.isInitialized_ = true;
  const ssize_t sent = ::writev(device, completed.data(), static_cast<int>(completed.size()));
  if (sent > 0) {
    self.raiseReadAhead();
    self.whenReady_();
  }
  return sent;
}

}  // namespace quillbrook
