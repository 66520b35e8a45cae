// One producer and one consumer thread passing 10 million pointers through
// TypedWorkQueue, beside a std::mutex + std::deque<void*> queue doing the
// same work, in the same run.
//
// Both consumers take their lock once per batch of up to 20 pointers, the
// batch of the log pipeline; "deque_one" is the deque with one lock per pop,
// as such a queue is usually written. "Queue10MPointers" lets the producer run
// ahead as far as it can; in "Queue10MPaced" it stays at most one batch
// ahead, the steady state of a queue whose consumer keeps up. Each case
// counts the heap allocations made while the pointers flow (thread start-up
// excluded) and prints them as "allocs": the paged queue keeps one empty page
// in reserve, so it allocates only while its backlog grows.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <new>
#include <thread>
#include <type_traits>

#include "qorbasic/queues.h"

namespace {

std::atomic<long> g_allocations{0};

constexpr long kPointers = 10000000;
constexpr int kBatch = 20;
constexpr long kPacedWindow = kBatch;

struct TypedQueueSide {
    TypedWorkQueue<void> queue;
    void push(void* item) {
        while (!queue.insert(item)) {
        }
    }
    int pop_batch(void** out) {
        ScopedLock hold(queue);
        int n = 0;
        while (n < kBatch && (out[n] = queue.extract(hold)) != nullptr) ++n;
        return n;
    }
};

struct DequeSide {
    std::mutex mutex;
    std::deque<void*> queue;
    int batch = kBatch;
    void push(void* item) {
        std::lock_guard<std::mutex> hold(mutex);
        queue.push_back(item);
    }
    int pop_batch(void** out) {
        std::lock_guard<std::mutex> hold(mutex);
        int n = 0;
        while (n < batch && !queue.empty()) {
            out[n++] = queue.front();
            queue.pop_front();
        }
        return n;
    }
};

// Moves kPointers distinct non-null pointers from one thread to another and
// counts the allocations made meanwhile.
template <typename Side>
void transfer(benchmark::State& state, int batch, long window) {
    long allocations = 0;
    for (auto _ : state) {
        Side side;
        if constexpr (std::is_same_v<Side, DequeSide>) side.batch = batch;
        std::atomic<int> ready(0);
        std::atomic<long> received(0);
        std::thread consumer([&] {
            void* out[kBatch];
            ++ready;
            while (ready.load() < 2) std::this_thread::yield();
            long count = 0;
            // Yielding rather than spinning keeps a waiting side from
            // taking the core of the other on a busy machine.
            while (count < kPointers) {
                const int n = side.pop_batch(out);
                if (n == 0) std::this_thread::yield();
                count += n;
                received.store(count, std::memory_order_release);
            }
        });
        while (ready.load() < 1) std::this_thread::yield();
        const long before = g_allocations.load();
        ++ready;
        for (long i = 1; i <= kPointers; ++i) {
            while (i - received.load(std::memory_order_relaxed) > window) std::this_thread::yield();
            side.push(reinterpret_cast<void*>(i));
        }
        while (received.load(std::memory_order_acquire) < kPointers) std::this_thread::yield();
        allocations += g_allocations.load() - before;
        consumer.join();
    }
    state.SetItemsProcessed(state.iterations() * kPointers);
    state.counters["allocs"] = static_cast<double>(allocations) / state.iterations();
}

void qor_typed_queue(benchmark::State& state) {
    transfer<TypedQueueSide>(state, kBatch, state.range(0));
}
void deque_batch(benchmark::State& state) {
    transfer<DequeSide>(state, kBatch, state.range(0));
}
void deque_one(benchmark::State& state) {
    transfer<DequeSide>(state, 1, state.range(0));
}

}  // namespace

// Counts every allocation of the process, the library's included.
void* operator new(std::size_t size) {
    ++g_allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++g_allocations;
    return std::malloc(size == 0 ? 1 : size);
}
// The deletes pair with the news above, which take their memory from malloc;
// gcc can't see that and warns.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

// One pass moves all ten million pointers.
#define QUEUE_CASE(function, name, window)                                            \
    BENCHMARK(function)->Name(name)->Arg(window)->Iterations(1)->UseRealTime()->Unit( \
        benchmark::kMillisecond)
QUEUE_CASE(qor_typed_queue, "Queue10MPointers/qorbasic", kPointers);
QUEUE_CASE(deque_batch, "Queue10MPointers/deque", kPointers);
QUEUE_CASE(deque_one, "Queue10MPointers/deque_one", kPointers);
QUEUE_CASE(qor_typed_queue, "Queue10MPaced/qorbasic", kPacedWindow);
QUEUE_CASE(deque_batch, "Queue10MPaced/deque", kPacedWindow);
QUEUE_CASE(deque_one, "Queue10MPaced/deque_one", kPacedWindow);
