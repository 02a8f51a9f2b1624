// The memory of a document.
#ifndef KXL_ESD_NODE_MEMORY_H
#define KXL_ESD_NODE_MEMORY_H

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace esd {

// Where the nodes of one document and all that they hold take their memory from. Nothing is given
// back before the document as a whole: what a node drops or replaces stays until then. For one
// thread at a time. Throws std::bad_alloc, and is as it was then.
class NodeMemory {
 public:
  NodeMemory() = default;
  NodeMemory(const NodeMemory&) = delete;
  NodeMemory& operator=(const NodeMemory&) = delete;

  // Announces how much is going to be needed, in bytes: the next piece that is taken from the heap
  // is that large. More than that is taken in larger and larger pieces.
  void Expect(std::size_t size) { nextPiece_ = size; }

  // Room for count objects, which must need no destructor.
  template <typename T>
  T* Allocate(std::size_t count) {
    // NOLINTNEXTLINE(bugprone-sizeof-expression): pointers are objects too
    return static_cast<T*>(Take(count * sizeof(T), alignof(T)));
  }

  // A copy of the text.
  std::string_view Keep(std::string_view text);
  // The same for names, of which a document has few, many times each: one copy of each.
  std::string_view KeepName(std::string_view name);
  std::size_t NameCount() const { return names_.size(); }

  // A copy of the one text, which was kept here, with the other one behind it. What was kept last
  // is not copied for it, so that a text may come in any number of parts.
  std::string_view Join(std::string_view kept, std::string_view more);

  // Keeps the owner of another document's node, which has got a place in this one.
  void KeepOwner(boost::shared_ptr<void> owner) { owners_.push_back(std::move(owner)); }

 private:
  void* Take(std::size_t size, std::size_t alignment) {
    const std::size_t gap = -reinterpret_cast<std::uintptr_t>(free_) & (alignment - 1);
    if (gap + size > static_cast<std::size_t>(end_ - free_)) return TakePiece(size, alignment);
    char* const place = free_ + gap;
    free_ = place + size;
    return place;
  }
  void* TakePiece(std::size_t size, std::size_t alignment);

  std::vector<std::unique_ptr<char[]>> pieces_;
  std::vector<boost::shared_ptr<void>> owners_;
  char* free_ = nullptr;  // what is left of the last piece
  char* end_ = nullptr;
  std::size_t nextPiece_ = 512;
  std::array<std::string_view, 16> recentNames_;  // by size and end
  std::unordered_set<std::string_view> names_;
};

}  // namespace esd

#endif  // KXL_ESD_NODE_MEMORY_H
