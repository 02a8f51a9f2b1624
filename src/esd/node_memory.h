// The memory of a document's nodes.
#ifndef KXL_ESD_NODE_MEMORY_H
#define KXL_ESD_NODE_MEMORY_H

#include <atomic>
#include <cstddef>
#include <memory_resource>

namespace esd {

// Where the nodes of one document take their memory from, without giving any back before the last
// of them has gone: documents are read and dropped as a whole. For one thread at a time.
class NodeMemory {
 public:
  // Has one user, who made it.
  static NodeMemory* New() { return new NodeMemory; }
  void AddUser() { users_.fetch_add(1, std::memory_order_relaxed); }
  // Deletes itself with the last one.
  void RemoveUser();

  std::pmr::memory_resource* Resource() { return &pieces_; }

 private:
  NodeMemory();
  ~NodeMemory() = default;

  std::atomic<std::size_t> users_ = 1;
  std::pmr::monotonic_buffer_resource pieces_;
};

// A standard allocator that places nodes in a memory, each of which is a user of it.
template <typename T>
class NodeAllocator {
 public:
  using value_type = T;

  explicit NodeAllocator(NodeMemory* memory) : memory_(memory) {}
  template <typename U>
  NodeAllocator(const NodeAllocator<U>& other) : memory_(other.Memory()) {}

  T* allocate(std::size_t count) {
    void* const place = memory_->Resource()->allocate(count * sizeof(T), alignof(T));
    memory_->AddUser();
    return static_cast<T*>(place);
  }
  void deallocate(T* /*place*/, std::size_t /*count*/) { memory_->RemoveUser(); }

  NodeMemory* Memory() const { return memory_; }
  template <typename U>
  bool operator==(const NodeAllocator<U>& other) const {
    return memory_ == other.Memory();
  }

 private:
  NodeMemory* memory_;
};

}  // namespace esd

#endif  // KXL_ESD_NODE_MEMORY_H
