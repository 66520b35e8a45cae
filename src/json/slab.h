// The allocator behind JsonNode's operator new and delete: node objects are
// carved from per-thread chunks, so that a parse does not call malloc once
// per node and a tree lies close together in memory.
#ifndef QORBASIC_SRC_JSON_SLAB_H
#define QORBASIC_SRC_JSON_SLAB_H

#include <cstddef>

namespace qor {
namespace detail {

// Each thread carves nodes from a chunk of its own, one after the other; a
// slot is never reused. A chunk counts its live nodes and its memory goes
// back to the system when the last of them is deleted, so freeing a whole
// tree frees its chunks: the thread that freed it keeps a few whole for
// reuse, hands the pages of a bounded number more back with MADV_FREE while
// it keeps their addresses, and unmaps the rest. A node
// deleted on another thread costs one atomic decrement, and at most the
// release of one chunk. Objects larger than kMaxSlabObject, and every object
// when the slab is off, go to the global operator new instead.
class NodeSlab {
  public:
    static const size_t kChunkSize = 64 << 10;
    static const size_t kMaxSlabObject = 512;

    static void* allocate(size_t size);
    static void release(void* object, size_t size);

    // Off in builds with AddressSanitizer and under valgrind, so that both
    // see every node as an allocation of its own.
    static bool enabled();
    // Chunks that hold nodes or wait whole for reuse, in the whole process.
    static size_t chunksInUse();
    // Free chunks whose pages went back to the kernel, kept as addresses.
    static size_t chunksHandedBack();
};

}  // namespace detail
}  // namespace qor

#endif  // QORBASIC_SRC_JSON_SLAB_H
