#include "esd/node_memory.h"

namespace esd {

namespace {

constexpr std::size_t kFirstPiece = 4096;  // bytes; the others are larger and larger

}  // namespace

NodeMemory::NodeMemory() : pieces_(kFirstPiece, std::pmr::new_delete_resource()) {}

void NodeMemory::RemoveUser() {
  if (users_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace esd
