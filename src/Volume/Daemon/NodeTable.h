// SPDX-License-Identifier: MIT
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/Mutex.h"
#include "Volume/Daemon/DescriptorCache.h"
#include "Volume/Daemon/Node.h"

namespace quillbrook {

// Every node that the kernel knows, or that stands above one that it knows, by its inode. Any thread.
class NodeTable {
 public:
  // `root` is the source folder. Nodes that end are dropped from `descriptors`.
  NodeTable(const struct stat& root, SharedDescriptor rootDescriptor, DescriptorCache& descriptors);

  [[nodiscard]] Node& root() { return *root_; }

  // The node of what stands at `name` in `parent`, whose lock the caller holds, as `status` describes it. Counts one
  // lookup for the kernel.
  Node& acquire(Node& parent, std::string_view name, const struct stat& status);
  void forget(Node& node, std::uint64_t lookups);

  [[nodiscard]] std::shared_ptr<Node> find(const InodeKey& key);
  // The number to show for an inode in a listing.
  [[nodiscard]] ino_t shownInode(const InodeKey& key);

  // Where a node can be found.
  struct Whereabouts {
    InodeKey key;
    SharedDescriptor pinned;
    std::vector<Node::Link> links;
    bool isCurrent = true;
    friend bool operator==(const Whereabouts&, const Whereabouts&) = default;
  };
  [[nodiscard]] Whereabouts whereabouts(const Node& node);

  // What follows a change of names in the folders, whose locks the caller holds.
  // `pin` keeps the inode reachable if this was its last known name.
  void unlinked(Node& node, const Node& parent, std::string_view name, SharedDescriptor pin);
  void renamed(Node& node, const Node& parent, std::string_view name, Node& newParent, std::string_view newName);
  // `target`, whose only link stays, has become the inode `key`. Whatever node stood for that inode before has lost
  // its name and is reached by `pin` from now on.
  void replaced(Node& target, const InodeKey& key, SharedDescriptor pin);

 private:
  // What is taken out with the mutex held and let go of behind it: when an inode ends with its last descriptor, the
  // host frees its space.
  struct Ended {
    std::vector<std::shared_ptr<Node>> nodes;
    std::vector<SharedDescriptor> descriptors;
  };

  void addLink(Node& node, Node& parent, std::string_view name) QB_REQUIRES(mutex_);
  // The removed link's parent, which the caller gives to `retire` once it has no use for the node any more.
  std::shared_ptr<Node> removeLink(Node& node, const Node& parent, std::string_view name) QB_REQUIRES(mutex_);
  void retire(std::shared_ptr<Node> node, Ended& ended) QB_REQUIRES(mutex_);
  void setAside(Node& node, Ended& ended) QB_REQUIRES(mutex_);

  DescriptorCache& descriptors_;
  Mutex mutex_;
  std::unordered_map<InodeKey, std::shared_ptr<Node>, InodeKeyHash> nodes_ QB_GUARDED_BY(mutex_);
  // Nodes whose inode the table knows by another node: they live until the kernel forgets them.
  std::unordered_map<const Node*, std::shared_ptr<Node>> aside_ QB_GUARDED_BY(mutex_);
  // Numbers shown by nodes that are another inode by now: the host may give them to new files.
  std::unordered_set<InodeKey, InodeKeyHash> borrowedNumbers_ QB_GUARDED_BY(mutex_);
  std::uint64_t generation_ QB_GUARDED_BY(mutex_) = 0;
  ino_t inventedNumber_ QB_GUARDED_BY(mutex_) = ino_t{1} << 62U;
  std::shared_ptr<Node> root_;
};

}  // namespace quillbrook
