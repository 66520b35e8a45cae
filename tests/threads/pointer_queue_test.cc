// The paged pointer queue, its typed front and the locked value.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "qorbasic/queues.h"

namespace {

using PQPAGE = SimplePointerQueue::PQPAGE;

// Shows the page list of a queue to the tests.
class InspectedQueue : public SimplePointerQueue {
  public:
    PQPAGE* head() const { return head_; }
    PQPAGE* tail() const { return tail_; }
    PQPAGE* spare() const { return spare_; }
};

// Distinct non-null pointers for 0, 1, 2, ... that are never dereferenced.
void* item(intptr_t n) {
    return reinterpret_cast<void*>(n + 1);
}

// Moves items numbered [from, to) into or out of the queue, checking the order.
void insert_run(InspectedQueue& queue, ScopedLock& hold, int from, int to) {
    for (int i = from; i < to; ++i) EXPECT_TRUE(queue.insert(item(i), hold));
}
void extract_run(InspectedQueue& queue, ScopedLock& hold, int from, int to) {
    for (int i = from; i < to; ++i) EXPECT_EQ(queue.extract(hold), item(i)) << i;
}

}  // namespace

// Each row inserts, extracts, inserts again and shows the pages in the list,
// whether the last insert went into the first page, and the slots of the last
// page. Draining the queue then leaves no page in the list and one spare.
TEST(PointerQueueTest, PagesFillAtTheirEndAndTheSparePageIsReused) {
    // The 31st insert opens a page. An emptied page stays in the list, holding
    // nothing, until the next extract, and starts again at slot 0; but one used
    // to its end is full though slots at its front are free. A used-up first
    // page comes back as the spare. Draining frees all pages but one.
    const struct {
        int insert1, extract1, insert2;
        const char* pages;  // "<pages> <tail is the first page> <tail first>+<tail count>"
    } rows[] = {
        // clang-format off
        {30, 0, 0, "1 1 0+30"}, {31, 0, 0, "2 0 0+1"},   {30, 30, 1, "1 1 0+1"},  {30, 29, 1, "2 0 0+1"},
        {45, 44, 20, "2 1 0+5"}, {31, 31, 40, "2 1 0+10"}, {30, 30, 0, "1 1 30+0"},
        // clang-format on
    };
    for (const auto& row : rows) {
        InspectedQueue queue;
        ScopedLock hold(queue);
        const int inserted = row.insert1 + row.insert2;
        insert_run(queue, hold, 0, row.insert1);
        PQPAGE* first_page = queue.head();
        extract_run(queue, hold, 0, row.extract1);
        insert_run(queue, hold, row.insert1, inserted);
        int pages = 0;
        for (PQPAGE* page = queue.head(); page != nullptr; page = page->next) ++pages;
        const PQPAGE* tail = queue.tail();
        EXPECT_EQ(std::to_string(pages) + " " + std::to_string(tail == first_page) + " " +
                      std::to_string(tail->first) + "+" + std::to_string(tail->count),
                  row.pages)
            << row.insert1 << "/" << row.extract1 << "/" << row.insert2;
        EXPECT_EQ(tail->next, nullptr);
        EXPECT_EQ(queue.has_data(hold), inserted > row.extract1);
        extract_run(queue, hold, row.extract1, inserted);
        EXPECT_EQ(queue.extract(hold), nullptr);
        EXPECT_TRUE(queue.head() == nullptr && queue.tail() == nullptr && queue.spare() != nullptr);
    }
}

TEST(PointerQueueTest, NullIsRefusedBulkCallsSkipItOnInsertAndPadWithItOnExtract) {
    SimplePointerQueue queue;
    ScopedLock hold(queue);
    EXPECT_FALSE(queue.insert(nullptr, hold));
    EXPECT_EQ(queue.extract(hold), nullptr);
    void* in[] = {item(1), nullptr, item(2), nullptr};
    EXPECT_EQ(queue.bulk_insert(in, 4, hold), 4);
    for (void* left : in) EXPECT_EQ(left, nullptr);
    EXPECT_EQ(queue.bulk_insert(in, 0, hold), 0);
    void* out[5] = {item(9), item(9), item(9), item(9), item(9)};
    EXPECT_EQ(queue.bulk_extract(out, 5, hold), 5);
    const void* expected[] = {item(1), item(2), nullptr, nullptr, nullptr};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(out[i], expected[i]) << i;
}

// A queue destroyed with entries on three pages and a spare frees the pages
// (the leak checker would see them) and none of the entries, which live on
// the stack here.
TEST(PointerQueueTest, DestroyingAFullQueueFreesPagesNotEntries) {
    int entries[75];
    TypedWorkQueue<int> queue;
    for (int& entry : entries) EXPECT_TRUE(queue.insert(&entry));
    ScopedLock hold(queue);
    for (int i = 0; i < 31; ++i) EXPECT_EQ(queue.extract(hold), &entries[i]);
    EXPECT_TRUE(queue.has_data(hold));
}

// Producers insert numbered items; consumers take batches under the lock and
// check, while they hold it, that each producer's items come in the order
// inserted. At the end every item has been seen exactly once.
TEST(PointerQueueTest, ManyProducersAndConsumersLoseDoubleAndReorderNothing) {
    constexpr int kProducers = 4, kConsumers = 3, kItems = 40000, kBatch = 20;
    struct Item {
        int producer, seq;
    };
    std::vector<std::vector<Item>> items(kProducers, std::vector<Item>(kItems));
    std::vector<std::vector<int>> seen(kProducers, std::vector<int>(kItems, 0));
    std::vector<int> next_seq(kProducers, 0);  // guarded by the queue's lock
    TypedWorkQueue<const Item> queue;
    std::atomic<int> producers_left(kProducers), out_of_order(0);

    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; ++p) {
        threads.emplace_back([&, p] {
            for (int i = 0; i < kItems; ++i) {
                items[p][i] = {p, i};
                while (!queue.insert(&items[p][i])) {
                }
            }
            --producers_left;
        });
    }
    for (int c = 0; c < kConsumers; ++c) {
        threads.emplace_back([&] {
            for (;;) {
                const bool last_pass = producers_left.load() == 0;
                int taken = 0;
                {
                    ScopedLock hold(queue);
                    for (const Item* got; taken < kBatch && (got = queue.extract(hold)); ++taken) {
                        if (got->seq != next_seq[got->producer]++) ++out_of_order;
                        ++seen[got->producer][got->seq];
                    }
                }
                if (taken == 0 && last_pass) return;
                if (taken == 0) std::this_thread::yield();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(out_of_order.load(), 0);
    for (int p = 0; p < kProducers; ++p) {
        EXPECT_EQ(next_seq[p], kItems) << p;
        EXPECT_EQ(std::count(seen[p].begin(), seen[p].end(), 1), kItems) << p;
    }
}

TEST(AtomicValueTest, PredicateWaitsForAValueSetByAnotherThread) {
    AtomicValue<int> value(2);
    AtomicEqualityTestPredicate<int> is_three(value, 3);
    EXPECT_FALSE(is_three.predicate0());
    std::thread setter([&] { value.set(3); });
    EXPECT_TRUE(waitUntil(is_three, 5000000));
    setter.join();
    EXPECT_FALSE(waitUntil(AtomicEqualityTestPredicate<int>(value, 4), 0));
}
