// NodeSlab: per-thread chunks for JSON node objects, and JsonNode's
// operator new and delete on top of it.
#include "json/slab.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qorbasic/json.h"

#if defined(__SANITIZE_ADDRESS__)
#define QOR_JSON_SLAB_OFF 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOR_JSON_SLAB_OFF 1
#endif
#endif

namespace qor {
namespace detail {
namespace {

const size_t kChunkSize = NodeSlab::kChunkSize;
// Nodes start behind the chunk's count, at the alignment of operator new.
const uintptr_t kChunkHeader = 16;
// Free chunks a thread keeps whole for its next chunks, so that a program
// that parses and frees documents of moderate size makes no system call for
// them.
const unsigned kKeptChunks = 16;
// Beyond those, a thread keeps up to this many free chunks as address space
// only: their pages go back to the kernel with MADV_FREE, which takes them as
// soon as it needs memory, and until then the next large parse reuses them
// without faulting them in anew (which cost a large document a third of its
// parse time). Anything beyond is unmapped.
const unsigned kLazyChunks = 256;
// While a thread carves nodes from a chunk, the chunk's count holds this bias
// in place of the nodes carved, so that carving needs no atomic operation.
// The thread replaces the bias by the real number when it moves on. A chunk
// holds far fewer nodes than this.
const uint32_t kCarvingBias = 1u << 30;

struct Chunk {
    // Nodes of the chunk not yet deleted, plus the bias while carved from.
    std::atomic<uint32_t> live;
};

std::atomic<size_t> chunksMapped{0};
std::atomic<size_t> chunksLazy{0};

Chunk* mapChunk() {
    // mmap aligns to pages only: map twice the size and keep the aligned half,
    // so that a node finds its chunk by masking its address.
    void* raw =
        mmap(nullptr, 2 * kChunkSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (raw == MAP_FAILED) throw std::bad_alloc();
    uintptr_t start = reinterpret_cast<uintptr_t>(raw);
    uintptr_t chunk = (start + kChunkSize - 1) & ~(kChunkSize - 1);
    if (chunk > start) munmap(raw, chunk - start);
    uintptr_t tail = chunk + kChunkSize, end = start + 2 * kChunkSize;
    if (end > tail) munmap(reinterpret_cast<void*>(tail), end - tail);
    chunksMapped.fetch_add(1, std::memory_order_relaxed);
    return new (reinterpret_cast<void*>(chunk)) Chunk{};
}

void unmapChunk(Chunk* chunk) {
    munmap(chunk, kChunkSize);
    chunksMapped.fetch_sub(1, std::memory_order_relaxed);
}

// Zero-initialised per thread, with no constructor to run at each access.
struct ThreadSlab {
    Chunk* current;
    uintptr_t next;  // where the next node may start
    uintptr_t end;
    uint32_t carved;  // nodes carved from `current`
    unsigned keptCount;
    Chunk* kept[kKeptChunks];
    // Chunks whose pages were handed back; the array comes from the heap on
    // first need, so that the thread's fixed block stays small.
    unsigned lazyCount;
    Chunk** lazy;
    bool registered;  // ThreadSlabExit will run for this thread
    bool exited;      // it has run
};
// Initial-exec: reached at a fixed offset from the thread pointer, with no
// call per node. The library is linked by its clients, not loaded late.
__attribute__((tls_model("initial-exec"))) thread_local ThreadSlab threadSlab;

void dropLive(Chunk* chunk, uint32_t count);

Chunk* takeLazy(ThreadSlab& t) {
    chunksLazy.fetch_sub(1, std::memory_order_relaxed);
    return t.lazy[--t.lazyCount];
}

// Hands the pages of `chunk` back to the kernel and keeps the address space;
// false when the thread keeps enough of them or the kernel lacks MADV_FREE.
bool keepLazily(ThreadSlab& t, Chunk* chunk) {
    if (t.lazyCount >= kLazyChunks) return false;
    if (!t.lazy) t.lazy = new (std::nothrow) Chunk*[kLazyChunks];
    if (!t.lazy || madvise(chunk, kChunkSize, MADV_FREE) != 0) return false;
    t.lazy[t.lazyCount++] = chunk;
    chunksLazy.fetch_add(1, std::memory_order_relaxed);
    return true;
}

// Gives the thread's chunks back when it ends. Nodes still alive keep
// their chunk until they are deleted, on whichever thread.
struct ThreadSlabExit {
    ~ThreadSlabExit() {
        ThreadSlab& t = threadSlab;
        t.exited = true;
        if (Chunk* current = t.current) {
            t.current = nullptr;
            t.next = t.end = 0;
            dropLive(current, kCarvingBias - t.carved);
        }
        while (t.keptCount > 0) unmapChunk(t.kept[--t.keptCount]);
        while (t.lazyCount > 0) unmapChunk(takeLazy(t));
        delete[] t.lazy;
        t.lazy = nullptr;
    }
};

void registerThread(ThreadSlab& t) {
    if (t.registered) return;
    thread_local ThreadSlabExit exit;
    (void)exit;
    t.registered = true;
}

// The last node of `chunk` is gone: keep the chunk for this thread or unmap it.
void freeChunk(Chunk* chunk) {
    ThreadSlab& t = threadSlab;
    if (!t.exited) {
        registerThread(t);
        if (t.keptCount < kKeptChunks) {
            t.kept[t.keptCount++] = chunk;
            return;
        }
        if (keepLazily(t, chunk)) return;
    }
    unmapChunk(chunk);
}

void dropLive(Chunk* chunk, uint32_t count) {
    if (chunk->live.fetch_sub(count, std::memory_order_acq_rel) == count) freeChunk(chunk);
}

void* carve(ThreadSlab& t, size_t size) {
    // Sizes that are a multiple of 16 may belong to types aligned to 16.
    const uintptr_t align = size % 16 == 0 ? 16 : 8;
    uintptr_t node = (t.next + align - 1) & ~(align - 1);
    if (node + size > t.end) return nullptr;
    t.next = node + size;
    ++t.carved;
    return reinterpret_cast<void*>(node);
}

void* carveFromNewChunk(ThreadSlab& t, size_t size) {
    if (t.exited) {
        // A node made by another thread-local destructor after ours ran gets
        // a chunk of its own, which its delete frees.
        Chunk* chunk = mapChunk();
        chunk->live.store(1, std::memory_order_relaxed);
        return reinterpret_cast<char*>(chunk) + kChunkHeader;
    }
    registerThread(t);
    if (Chunk* current = t.current) {
        t.current = nullptr;
        t.next = t.end = 0;
        dropLive(current, kCarvingBias - t.carved);
    }
    // A lazily freed page is the process's again at the first write to it,
    // with whatever content it had or zeros; the carving writes before any read.
    Chunk* chunk = t.keptCount > 0   ? t.kept[--t.keptCount]
                   : t.lazyCount > 0 ? takeLazy(t)
                                     : mapChunk();
    chunk->live.store(kCarvingBias, std::memory_order_relaxed);
    t.current = chunk;
    t.carved = 0;
    t.next = reinterpret_cast<uintptr_t>(chunk) + kChunkHeader;
    t.end = reinterpret_cast<uintptr_t>(chunk) + kChunkSize;
    return carve(t, size);
}

bool underValgrind() {
    const char* preload = getenv("LD_PRELOAD");
    return preload != nullptr && strstr(preload, "vgpreload") != nullptr;
}

}  // namespace

bool NodeSlab::enabled() {
#ifdef QOR_JSON_SLAB_OFF
    return false;
#else
    // Decided once: a node must be freed the way it was made.
    static const bool on = !underValgrind();
    return on;
#endif
}

void* NodeSlab::allocate(size_t size) {
    if (size > kMaxSlabObject || !enabled()) return ::operator new(size);
    ThreadSlab& t = threadSlab;
    if (void* node = carve(t, size)) return node;
    return carveFromNewChunk(t, size);
}

void NodeSlab::release(void* object, size_t size) {
    if (object == nullptr) return;
    if (size > kMaxSlabObject || !enabled()) return ::operator delete(object);
    uintptr_t chunk = reinterpret_cast<uintptr_t>(object) & ~(kChunkSize - 1);
    dropLive(reinterpret_cast<Chunk*>(chunk), 1);
}

size_t NodeSlab::chunksInUse() {
    return chunksMapped.load(std::memory_order_relaxed) -
           chunksLazy.load(std::memory_order_relaxed);
}

size_t NodeSlab::chunksHandedBack() {
    return chunksLazy.load(std::memory_order_relaxed);
}

}  // namespace detail
}  // namespace qor

void* JsonNode::operator new(std::size_t size) {
    return qor::detail::NodeSlab::allocate(size);
}

void JsonNode::operator delete(void* node, std::size_t size) {
    qor::detail::NodeSlab::release(node, size);
}
