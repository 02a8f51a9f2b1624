#include "esd/node_memory.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace esd {

void* NodeMemory::TakePiece(std::size_t size, std::size_t alignment) {
  const std::size_t piece = std::max(nextPiece_, size + alignment);
  // Not filled with zeros: the system gives pages as they are first written to. (libc++ 14 has no
  // make_unique_for_overwrite.)
  std::unique_ptr<char[]> memory(new char[piece]);
  pieces_.push_back(std::move(memory));
  nextPiece_ = piece * 2;
  free_ = pieces_.back().get();
  end_ = free_ + piece;
  return Take(size, alignment);
}

std::string_view NodeMemory::KeepName(std::string_view name) {
  if (name.empty()) return {};
  const auto end = static_cast<unsigned char>(name.back());
  std::string_view& recent = recentNames_[(name.size() * 5 + end) % recentNames_.size()];
  if (recent != name) {
    const auto known = names_.find(name);
    recent = known != names_.end() ? *known : *names_.insert(Keep(name)).first;
  }
  return recent;
}

std::string_view NodeMemory::Keep(std::string_view text) {
  if (text.empty()) return {};
  auto* const copy = static_cast<char*>(Take(text.size(), 1));
  std::memcpy(copy, text.data(), text.size());
  return {copy, text.size()};
}

std::string_view NodeMemory::Join(std::string_view kept, std::string_view more) {
  if (more.empty()) return kept;
  if (kept.empty()) return Keep(more);
  const bool isLast = kept.data() + kept.size() == free_;
  if (isLast && more.size() <= static_cast<std::size_t>(end_ - free_)) {
    Keep(more);
    return {kept.data(), kept.size() + more.size()};
  }
  auto* const copy = static_cast<char*>(Take(kept.size() + more.size(), 1));
  std::memcpy(copy, kept.data(), kept.size());
  std::memcpy(copy + kept.size(), more.data(), more.size());
  return {copy, kept.size() + more.size()};
}

}  // namespace esd
