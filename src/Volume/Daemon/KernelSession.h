// SPDX-License-Identifier: MIT
#pragma once

#include <fuse_lowlevel.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"

namespace quillbrook {

struct Volume;

// The connection to the kernel: libfuse's session, completed by what the kernel offers and this libfuse cannot ask for.
class KernelSession {
 public:
  KernelSession() = default;
  ~KernelSession();
  KernelSession(const KernelSession&) = delete;
  KernelSession& operator=(const KernelSession&) = delete;
  KernelSession(KernelSession&&) = delete;
  KernelSession& operator=(KernelSession&&) = delete;

  // Makes the session of `volume`, whose `kernel` this is, and mounts it as its options say; `operations` are called
  // for it. `whenReady` is called once, when the kernel has been told what the volume can do: the mount stands. The
  // failure has been printed by libfuse.
  [[nodiscard]] Result<void> mount(Volume& volume, const fuse_lowlevel_ops& operations,
                                   std::function<void()> whenReady);
  // Answers requests on several threads until the mount is gone or the session is told to end. On the thread that
  // mounted.
  [[nodiscard]] Result<void> serve();
  // Takes the mount out of sight; it ends with its last handle. Where that cannot be done, ends the session. Any thread
  // but those that serve, once mount() has succeeded; serve() must follow, or have been called.
  void detach();

  [[nodiscard]] fuse_session* session() const { return session_.get(); }

  // Make the kernel ask again for a node's attributes, and for what is in a folder. Single names are never taken back:
  // for that the kernel waits for the folder's lock, which a program may hold until a request is answered, and a daemon
  // that is killed meanwhile would never end, nor its mount.
  void forgetAttributes(fuse_ino_t node) const;
  void forgetListing(fuse_ino_t folder) const;

  // Whether the kernel may be given files of the host to read and write without the daemon. Known once it is mounted.
  [[nodiscard]] bool hasPassthrough() const { return hasPassthrough_; }
  // The kernel's number for a file of the host, to be given back by unregisterBacking. `file` is a descriptor opened
  // with O_PATH; by which mode the kernel opens it is told by each handle's own flags.
  [[nodiscard]] Result<std::int32_t> registerBacking(int file) const;
  void unregisterBacking(std::int32_t identifier) const;

 private:
  struct OwnMount {
    std::uint64_t identifier = 0;  // in the mount table
    std::string device;            // "major:minor"

    // Nothing if no mount of ours is there: it was made elsewhere, and its device handed over.
    [[nodiscard]] static std::optional<OwnMount> at(const FilePath& path);
  };
  struct Destroy {
    void operator()(fuse_session* session) const { fuse_session_destroy(session); }
  };

  void raiseReadAhead() const;
  static ssize_t receive(int device, void* buffer, std::size_t byteCount, void* userData);
  static ssize_t send(int device, iovec* parts, int count, void* userData);

  std::unique_ptr<fuse_session, Destroy> session_;
  std::optional<OwnMount> ownMount_;
  bool isMounted_ = false;
  pthread_t loopThread_{};
  std::atomic<bool> hasEnded_ = false;
  bool mayRegisterBacking_ = false;
  std::function<void()> whenReady_;
  // The exchange of INIT, seen by the session's I/O functions before anything else.
  std::uint64_t initRequest_ = 0;
  std::uint32_t offeredFlags_ = 0;
  std::uint32_t offeredFlags2_ = 0;
  std::atomic<bool> isInitialized_ = false;
  // A request may follow from another one's answer, and speak of what that one's thread has made: the kernel orders the
  // two, and this tells the language so.
  std::atomic<std::uint64_t> answerCount_ = 0;
  std::atomic<bool> hasPassthrough_ = false;
};

}  // namespace quillbrook
