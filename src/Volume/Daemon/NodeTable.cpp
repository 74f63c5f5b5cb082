// SPDX-License-Identifier: MIT
#include "Volume/Daemon/NodeTable.h"

#include <algorithm>
#include <utility>

namespace quillbrook {

namespace {

InodeKey keyOf(const struct stat& status) {
  return {.device = status.st_dev, .inode = status.st_ino};
}

auto linkTo(const Node& parent, std::string_view name) {
  return [&parent, name](const Node::Link& link) { return link.parent.get() == &parent && link.name == name; };
}

}  // namespace

NodeTable::NodeTable(const struct stat& root, SharedDescriptor rootDescriptor, DescriptorCache& descriptors)
    : descriptors_(descriptors), root_(std::make_shared<Node>(S_IFDIR, root.st_ino, 0)) {
  root_->key = keyOf(root);
  root_->pinned = std::move(rootDescriptor);
  root_->lookupCount = 1;
  const MutexLock lock(mutex_);
  nodes_.emplace(root_->key, root_);
}

Node& NodeTable::acquire(Node& parent, std::string_view name, const struct stat& status) {
  const InodeKey key = keyOf(status);
  const mode_t kind = status.st_mode & S_IFMT;
  Ended ended;
  const MutexLock lock(mutex_);
  auto found = nodes_.find(key);
  if (found != nodes_.end() && found->second->kind != kind) {
    setAside(*found->second, ended);  // the host has given the number of a file that went underneath to another one
    found = nodes_.end();
  }
  if (found == nodes_.end()) {
    // A folder keeps its own, by which the file layer knows it beneath the mount; nobody takes it for a link of a file.
    const bool isTaken = kind != S_IFDIR && borrowedNumbers_.contains(key);
    const ino_t shown = isTaken ? inventedNumber_++ : key.inode;
    found = nodes_.insert_or_assign(key, std::make_shared<Node>(kind, shown, ++generation_)).first;
    found->second->key = key;
  }
  Node& node = *found->second;
  ++node.lookupCount;
  if (std::ranges::none_of(node.links, linkTo(parent, name))) addLink(node, parent, name);
  return node;
}

void NodeTable::forget(Node& node, std::uint64_t lookups) {
  Ended ended;
  const MutexLock lock(mutex_);
  node.lookupCount -= std::min(lookups, node.lookupCount);
  if (node.lookupCount == 0 && node.childCount == 0) retire(node.shared_from_this(), ended);
}

std::shared_ptr<Node> NodeTable::find(const InodeKey& key) {
  const MutexLock lock(mutex_);
  const auto found = nodes_.find(key);
  return found == nodes_.end() ? nullptr : found->second;
}

ino_t NodeTable::shownInode(const InodeKey& key) {
  const MutexLock lock(mutex_);
  const auto found = nodes_.find(key);
  return found == nodes_.end() ? key.inode : found->second->shownInode;
}

NodeTable::Whereabouts NodeTable::whereabouts(const Node& node) {
  const MutexLock lock(mutex_);
  return {.key = node.key, .pinned = node.pinned, .links = node.links, .isCurrent = node.isCurrent};
}

void NodeTable::unlinked(Node& node, const Node& parent, std::string_view name, SharedDescriptor pin) {
  Ended ended;
  const MutexLock lock(mutex_);
  auto formerParent = removeLink(node, parent, name);
  if (node.links.empty()) node.pinned = std::move(pin);
  if (formerParent) retire(std::move(formerParent), ended);
}

void NodeTable::renamed(Node& node, const Node& parent, std::string_view name, Node& newParent,
                        std::string_view newName) {
  Ended ended;
  const MutexLock lock(mutex_);
  auto formerParent = removeLink(node, parent, name);
  if (std::ranges::none_of(node.links, linkTo(newParent, newName))) addLink(node, newParent, newName);
  if (formerParent) retire(std::move(formerParent), ended);
}

void NodeTable::replaced(Node& target, const InodeKey& key, SharedDescriptor pin) {
  Ended ended;
  const MutexLock lock(mutex_);
  if (const auto former = nodes_.find(key); former != nodes_.end()) {
    Node& work = *former->second;
    setAside(work, ended);
    auto links = std::exchange(work.links, {});
    work.pinned = std::move(pin);
    for (auto& link : links) {
      --link.parent->childCount;
      retire(std::move(link.parent), ended);
    }
  }
  auto entry = nodes_.extract(target.key);
  if (target.key.inode == target.shownInode) borrowedNumbers_.insert(target.key);
  target.key = key;
  if (key.inode == target.shownInode) borrowedNumbers_.erase(key);
  entry.key() = key;
  nodes_.insert(std::move(entry));
  ended.descriptors.push_back(descriptors_.take(target));
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the lock that it requires is the table's
void NodeTable::addLink(Node& node, Node& parent, std::string_view name) {
  ++parent.childCount;
  node.links.push_back({.parent = parent.shared_from_this(), .name = std::string(name)});
  node.pinned.reset();
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the lock that it requires is the table's
std::shared_ptr<Node> NodeTable::removeLink(Node& node, const Node& parent, std::string_view name) {
  const auto found = std::ranges::find_if(node.links, linkTo(parent, name));
  if (found == node.links.end()) return nullptr;
  auto formerParent = std::move(found->parent);
  node.links.erase(found);
  --formerParent->childCount;
  return formerParent;
}

// Ends a node that nobody needs any more, and with it the nodes above that only it needed.
void NodeTable::retire(std::shared_ptr<Node> node, Ended& ended) {
  std::vector<std::shared_ptr<Node>> pending{std::move(node)};
  while (!pending.empty()) {
    std::shared_ptr<Node> last = std::move(pending.back());
    pending.pop_back();
    if (last->lookupCount != 0 || last->childCount != 0) continue;
    for (auto& link : std::exchange(last->links, {})) {
      --link.parent->childCount;
      pending.push_back(std::move(link.parent));
    }
    if (last->isCurrent) {
      nodes_.erase(last->key);
    } else {
      aside_.erase(last.get());
    }
    if (last->key.inode != last->shownInode) borrowedNumbers_.erase({last->key.device, last->shownInode});
    ended.descriptors.push_back(descriptors_.take(*last));
    ended.nodes.push_back(std::move(last));
  }
}

// Takes a node out of the table by inode; it lives on until the kernel forgets it.
void NodeTable::setAside(Node& node, Ended& ended) {
  node.isCurrent = false;
  ended.descriptors.push_back(descriptors_.take(node));
  auto entry = nodes_.extract(node.key);
  aside_.emplace(&node, std::move(entry.mapped()));
}

}  // namespace quillbrook
