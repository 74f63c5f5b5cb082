// SPDX-License-Identifier: MIT
#include "Platform/UserDefaults.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>
#include <vector>

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/SmallFile.h"
#include "Platform/Linux/SystemCall.h"
#include "Platform/Log.h"
#include "Platform/Mutex.h"
#include "Platform/StandardFolders.h"

namespace quillbrook {
namespace {

using Json = nlohmann::json;

constexpr Log defaultsLog("userDefaults");

// What tells one version of the file from the next: each is a file of its own.
struct Version {
  ino_t inode = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  friend bool operator==(const Version&, const Version&) = default;
};

Version versionOf(const FilePath& file) {
  struct stat status{};
  if (::stat(file.c_str(), &status) != 0) return {};
  return {.inode = status.st_ino, .seconds = status.st_mtim.tv_sec, .nanoseconds = status.st_mtim.tv_nsec};
}

// An empty object where there is no file. Nothing for what is no object of JSON.
Result<std::optional<Json>> read(const FilePath& file) {
  const auto text = SmallFile::read(file);
  if (!text && text.error() == ErrorNumber::noEntry) return Json::object();
  if (!text) return std::unexpected(text.error());
  Json content = Json::parse(*text, nullptr, false);
  if (!content.is_object()) return std::nullopt;
  return content;
}

void setAside(const FilePath& file) {
  const FilePath aside = file.appendingExtension("damaged");
  const bool isAside = std::rename(file.c_str(), aside.c_str()) == 0;
  defaultsLog.write(LogLevel::error,
                    isAside ? "damaged settings, set aside as %{private}s" : "damaged settings at %{private}s",
                    {(isAside ? aside : file).bytes()});
}

Json jsonOf(const UserDefaults::Value& value) {
  return std::visit([](const auto& held) { return Json(held); }, value);
}

std::optional<UserDefaults::Value> valueOf(const Json& json) {
  if (json.is_boolean()) return json.get<bool>();
  if (json.is_number_unsigned() && json.get<std::uint64_t>() > INT64_MAX) return std::nullopt;
  if (json.is_number_integer()) return json.get<std::int64_t>();
  if (json.is_string()) return json.get<std::string>();
  return std::nullopt;
}

// Text of another form would not come back.
bool isText(const UserDefaults::Value& value) {
  const auto* text = std::get_if<std::string>(&value);
  return text == nullptr || FilePath(*text).isUtf8();
}

}  // namespace

struct UserDefaults::Content {
  FilePath file;
  Mutex mutex;
  Version version QB_GUARDED_BY(mutex);
  Json values QB_GUARDED_BY(mutex) = Json::object();
  std::vector<std::weak_ptr<const Observer>> observers QB_GUARDED_BY(mutex);

  // Keeps other processes from setting anything, so that none loses what another has set.
  [[nodiscard]] Result<FileDescriptor> lock() const {
    auto folder = SystemCall::openAt(AT_FDCWD, file.parent().c_str(), O_RDONLY | O_DIRECTORY);
    if (!folder) return folder;
    const auto held = SystemCall::checked([&] { return ::flock(folder->get(), LOCK_EX); });
    if (!held) return std::unexpected(held.error());
    return folder;
  }

  // What cannot be read leaves what was known.
  Result<void> readAgain() QB_REQUIRES(mutex) {
    const Version now = versionOf(file);
    if (now == version) return {};
    const auto content = read(file);
    if (content && *content) {
      values = **content;
      version = now;
      return {};
    }
    if (!content) {
      defaultsLog.write(LogLevel::error, "settings cannot be read: %{public}s", {content.error().text()});
      return std::unexpected(content.error());
    }
    const auto locked = lock();
    return locked ? readLocked() : std::unexpected(locked.error());
  }

  // The same for who holds the lock: nobody else can have put good settings in a damaged file's place meanwhile.
  Result<void> readLocked() QB_REQUIRES(mutex) {
    const Version now = versionOf(file);
    const auto content = read(file);
    if (!content) return std::unexpected(content.error());
    if (!*content) setAside(file);
    values = content->value_or(Json::object());
    version = *content ? now : versionOf(file);
    return {};
  }

  std::vector<std::weak_ptr<const Observer>> listeners() QB_REQUIRES(mutex) {
    std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
    return observers;
  }
};

UserDefaults::UserDefaults(FilePath file) : content_(std::make_unique<Content>()) {
  content_->file = std::move(file);
}

UserDefaults::~UserDefaults() = default;

UserDefaults& UserDefaults::standard() {
  static UserDefaults instance(StandardFolders::configuration().appending("Quillbrook").appending("defaults.json"));
  return instance;
}

Result<void> UserDefaults::check() const {
  const auto content = read(content_->file);
  if (!content) return std::unexpected(content.error());
  if (!*content) return std::unexpected(ErrorNumber::invalid);
  return {};
}

std::optional<UserDefaults::Value> UserDefaults::value(std::string_view name) const {
  const MutexLock guard(content_->mutex);
  // Why it could not be read is in the log.
  [[maybe_unused]] const auto read = content_->readAgain();
  const auto found = content_->values.find(name);
  return found == content_->values.end() ? std::nullopt : valueOf(*found);
}

Result<void> UserDefaults::setValue(std::string_view name, const std::optional<Value>& value) {
  if (value && !isText(*value)) return std::unexpected(ErrorNumber::invalid);
  std::vector<std::weak_ptr<const Observer>> listeners;
  {
    const MutexLock guard(content_->mutex);
    std::error_code failure;
    std::filesystem::create_directories(content_->file.parent().bytes(), failure);
    if (failure) return std::unexpected(ErrorNumber{failure.value()});
    const auto lock = content_->lock();
    if (!lock) return std::unexpected(lock.error());
    // Settings that are there and cannot be read must not be written over.
    if (const auto read = content_->readLocked(); !read) return read;
    Json values = content_->values;
    if (value) {
      values[std::string(name)] = jsonOf(*value);
    } else {
      values.erase(std::string(name));
    }
    if (values == content_->values) return {};
    constexpr int indentation = 2;
    // A link stays, and what it leads to is written.
    const auto target = std::filesystem::canonical(content_->file.bytes(), failure);
    const FilePath written = failure ? content_->file : FilePath(target.native());
    if (const auto done = SmallFile::replace(written, values.dump(indentation) + '\n'); !done) return done;
    content_->values = std::move(values);
    content_->version = versionOf(content_->file);
    listeners = content_->listeners();
  }
  for (const auto& listener : listeners) {
    if (const auto alive = listener.lock()) (*alive)(name);
  }
  return {};
}

UserDefaults::Observation UserDefaults::observe(Observer observer) {
  auto shared = std::make_shared<const Observer>(std::move(observer));
  const MutexLock guard(content_->mutex);
  content_->observers.push_back(shared);
  return Observation(std::move(shared));
}

}  // namespace quillbrook
