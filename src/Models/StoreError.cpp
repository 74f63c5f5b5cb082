// SPDX-License-Identifier: MIT
#include "Models/StoreError.h"

#include <fmt/format.h>

#include <string_view>

namespace quillbrook {
namespace {

using namespace StoreErrors;

std::string_view caseName(StoreAction action) {
  switch (action) {
    case StoreAction::open: return "open";
    case StoreAction::read: return "read";
    case StoreAction::save: return "save";
  }
  return "";
}

std::string_view verb(StoreAction action) {
  return action == StoreAction::save ? "save to" : caseName(action);
}

// SQLite's words, with the system's where it gave any.
std::string allWords(const std::string& words, ErrorNumber reason) {
  return reason.value == 0 ? words : fmt::format("{} ({})", words, reason.text());
}

struct Describer {
  std::string operator()(const CannotOpen& e) const {
    return fmt::format("cannotOpen(store: {}, reason: {}, words: {})", e.store.displayText(), e.reason.value, e.words);
  }
  std::string operator()(const ReadOnly& e) const { return fmt::format("readOnly(store: {})", e.store.displayText()); }
  std::string operator()(const Busy& e) const {
    return fmt::format("busy(store: {}, action: {}, words: {})", e.store.displayText(), caseName(e.action), e.words);
  }
  std::string operator()(const DiskFull& e) const {
    return fmt::format("diskFull(store: {}, action: {}, words: {})", e.store.displayText(), caseName(e.action),
                       e.words);
  }
  std::string operator()(const Damaged& e) const {
    return fmt::format("damaged(store: {}, words: {})", e.store.displayText(), e.words);
  }
  std::string operator()(const Foreign& e) const { return fmt::format("foreign(store: {})", e.store.displayText()); }
  std::string operator()(const NewerVersion& e) const {
    return fmt::format("newerVersion(store: {}, version: {})", e.store.displayText(), e.version);
  }
  std::string operator()(const Failed& e) const {
    return fmt::format("failed(store: {}, action: {}, code: {}, reason: {}, words: {})", e.store.displayText(),
                       caseName(e.action), e.code, e.reason.value, e.words);
  }
};

struct Sentence {
  std::string operator()(const CannotOpen& e) const {
    return fmt::format(
        "Could not open the store {}; see that its folder exists and that you may read and write both: {}.",
        e.store.displayText(), allWords(e.words, e.reason));
  }
  std::string operator()(const ReadOnly& e) const {
    return fmt::format("The store {} can only be read; make it and its folder writable for you.",
                       e.store.displayText());
  }
  std::string operator()(const Busy& e) const {
    return fmt::format(
        "Could not {} the store {}, since another program keeps it locked; let that end and try again: {}.",
        verb(e.action), e.store.displayText(), e.words);
  }
  std::string operator()(const DiskFull& e) const {
    return fmt::format("Could not {} the store {}, since its disk is full; free some space and try again: {}.",
                       verb(e.action), e.store.displayText(), e.words);
  }
  std::string operator()(const Damaged& e) const {
    return fmt::format(
        "The store {} is damaged and has been left as it is; put a backup in its place, or move it away and register "
        "your items anew: {}.",
        e.store.displayText(), e.words);
  }
  std::string operator()(const Foreign& e) const {
    return fmt::format("{} is another program's database and has been left as it is; move it away.",
                       e.store.displayText());
  }
  std::string operator()(const NewerVersion& e) const {
    return fmt::format(
        "The store {} was written by a later version of Quillbrook (schema {}) and has been left as it is; use that "
        "version.",
        e.store.displayText(), e.version);
  }
  std::string operator()(const Failed& e) const {
    return fmt::format("Could not {} the store {}; put right what the system says and try again: {}.", verb(e.action),
                       e.store.displayText(), allWords(e.words, e.reason));
  }
};

}  // namespace

std::string describe(const StoreError& error) {
  return std::visit(Describer{}, error);
}

std::string sentence(const StoreError& error) {
  return std::visit(Sentence{}, error);
}

}  // namespace quillbrook
