// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "Platform/DateText.h"
#include "Platform/ErrorNumber.h"
#include "Platform/FilePath.h"
#include "Platform/Timestamp.h"

namespace quillbrook {

// One setting: its name, and what holds while nobody has set it. T is bool, std::int64_t, std::string, or
// std::optional<Timestamp>, which is kept as text.
template <typename T>
struct DefaultsKey {
  std::string_view name;
  // Text is kept elsewhere, as the name is.
  std::conditional_t<std::is_same_v<T, std::string>, std::string_view, T> otherwise{};
};

// The user's settings: one JSON object in a file of its own, written at once and in one step, so that another process
// may use it at the same time. Keys that nobody here knows are kept. A file that cannot be understood is set aside,
// with a line in the log, and the settings begin anew. Any thread.
class UserDefaults {
 public:
  using Value = std::variant<bool, std::int64_t, std::string>;
  using Observer = std::function<void(std::string_view name)>;

  // Ends its observer's being told with its own life; a call that another thread is making then may still go on.
  class Observation {
   public:
    explicit Observation(std::shared_ptr<const Observer> observer) : observer_(std::move(observer)) {}

   private:
    std::shared_ptr<const Observer> observer_;
  };

  // The folder is made when something is set.
  explicit UserDefaults(FilePath file);
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  // "defaults.json" in the program's own configuration folder. Lives as long as the process.
  static UserDefaults& standard();

  // Fails if there are settings that cannot be read; to value() it is then as if nothing were set. A file that holds
  // none is `invalid`.
  [[nodiscard]] Result<void> check() const;
  // What somebody has set, if it has one of these types.
  [[nodiscard]] std::optional<Value> value(std::string_view name) const;
  // Nothing takes the setting away. One that is so already is not written, and tells nobody. Errors as of making the
  // folder, and of reading, writing and renaming a file; then nothing has changed.
  [[nodiscard]] Result<void> setValue(std::string_view name, const std::optional<Value>& value);

  // Of another type than the key's: as if nobody had set it.
  template <typename T>
  [[nodiscard]] T get(const DefaultsKey<T>& key) const {
    const auto found = value(key.name);
    if constexpr (std::is_same_v<T, std::optional<Timestamp>>) {
      const auto* text = found ? std::get_if<std::string>(&*found) : nullptr;
      const auto date = text != nullptr ? DateText::parse(*text) : std::nullopt;
      return date ? date : key.otherwise;
    } else {
      const auto* held = found ? std::get_if<T>(&*found) : nullptr;
      return held != nullptr ? *held : T(key.otherwise);
    }
  }
  template <typename T>
  [[nodiscard]] Result<void> set(const DefaultsKey<T>& key, const std::type_identity_t<T>& value) {
    if constexpr (std::is_same_v<T, std::optional<Timestamp>>) {
      return setValue(key.name, value ? std::optional<Value>(DateText::text(*value)) : std::nullopt);
    } else {
      return setValue(key.name, Value(value));
    }
  }

  // Called after each change that this object makes, in the thread that makes it.
  [[nodiscard]] Observation observe(Observer observer);

 private:
  struct Content;
  std::unique_ptr<Content> content_;
};

}  // namespace quillbrook
