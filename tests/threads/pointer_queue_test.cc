#include <gtest/gtest.h>

#include <atomic>
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

// Distinct non-null pointers 1, 2, 3, ... that are never dereferenced.
void* item(intptr_t n) {
    return reinterpret_cast<void*>(n);
}

// Inserts `count` items numbered from `from`; the next number.
int insert_run(InspectedQueue& queue, ScopedLock& hold, int from, int count) {
    for (int i = 0; i < count; ++i) EXPECT_TRUE(queue.insert(item(from + i), hold));
    return from + count;
}

// Extracts `count` items, expecting them numbered from `from`; the next number.
int extract_run(InspectedQueue& queue, ScopedLock& hold, int from, int count) {
    for (int i = 0; i < count; ++i) EXPECT_EQ(queue.extract(hold), item(from + i)) << i;
    return from + count;
}

}  // namespace

// Each row inserts, extracts, inserts again and extracts one more than it
// expects to remain; then the pages in the list, the page that took the
// last insert, and the slots are checked.
TEST(PointerQueueTest, PagesFillAtTheirEndAndTheSparePageIsReused) {
    struct Row {
        int insert1, extract1, insert2;
        int pages;             // pages in the list before draining
        bool same_page;        // the last insert went into the first page
        int tail_first, tail_count;
    } rows[] = {
        {30, 0, 0, 1, true, 0, 30},
        {31, 0, 0, 2, false, 0, 1},     // the 31st insert opens a page
        {30, 30, 1, 1, true, 0, 1},     // an emptied page starts again at slot 0
        {30, 29, 1, 2, false, 0, 1},    // full at its end though 29 slots are free
        {45, 44, 20, 2, true, 0, 5},    // the used-up first page came back as the spare
        {31, 31, 40, 2, true, 0, 10},
        {90, 0, 0, 3, false, 0, 30},    // draining keeps one page and frees two
    };
    for (const Row& row : rows) {
        InspectedQueue queue;
        ScopedLock hold(queue);
        int next_in = insert_run(queue, hold, 1, row.insert1);
        PQPAGE* first_page = queue.head();
        int next_out = extract_run(queue, hold, 1, row.extract1);
        next_in = insert_run(queue, hold, next_in, row.insert2);
        int pages = 0;
        for (PQPAGE* page = queue.head(); page != nullptr; page = page->next) ++pages;
        const std::string label = std::to_string(row.insert1) + "/" + std::to_string(row.extract1) +
                                  "/" + std::to_string(row.insert2);
        EXPECT_EQ(pages, row.pages) << label;
        EXPECT_EQ(queue.tail() == first_page, row.same_page) << label;
        EXPECT_EQ(queue.tail()->first, row.tail_first) << label;
        EXPECT_EQ(queue.tail()->count, row.tail_count) << label;
        EXPECT_EQ(queue.tail()->next, nullptr) << label;
        next_out = extract_run(queue, hold, next_out, next_in - next_out);
        EXPECT_EQ(queue.extract(hold), nullptr) << label;
        EXPECT_EQ(queue.head(), nullptr) << label;
        EXPECT_EQ(queue.tail(), nullptr) << label;
        EXPECT_NE(queue.spare(), nullptr) << label;
    }
}

// An emptied page stays in the list until the next extract, holding nothing.
TEST(PointerQueueTest, EmptyQueueAndEmptiedPagesHoldNoData) {
    InspectedQueue queue;
    ScopedLock hold(queue);
    EXPECT_EQ(queue.extract(hold), nullptr);
    EXPECT_EQ(queue.head(), nullptr);
    EXPECT_EQ(queue.tail(), nullptr);
    EXPECT_FALSE(queue.insert(nullptr, hold));
    extract_run(queue, hold, 1, insert_run(queue, hold, 1, 30) - 1);
    EXPECT_NE(queue.head(), nullptr);
    EXPECT_FALSE(queue.has_data(hold));
}

TEST(PointerQueueTest, BulkCallsSkipNullsOnInsertAndPadWithNullsOnExtract) {
    SimplePointerQueue queue;
    ScopedLock hold(queue);
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
                    while (taken < kBatch) {
                        const Item* got = queue.extract(hold);
                        if (got == nullptr) break;
                        ++taken;
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
        int wrong = 0;
        for (int count : seen[p]) wrong += count != 1;
        EXPECT_EQ(wrong, 0) << p;
    }
}

TEST(AtomicValueTest, TestAndSetUnderOneLockAndPredicateWaitsForAValue) {
    AtomicValue<int> value(1);
    {
        ScopedLock hold(value);
        if (value.equals(1, hold)) value.set(2, hold);
    }
    EXPECT_EQ(value.get(), 2);
    EXPECT_TRUE(value.equals(2));
    AtomicEqualityTestPredicate<int> is_three(value, 3);
    EXPECT_FALSE(is_three.predicate0());
    std::thread setter([&] { value.set(3); });
    EXPECT_TRUE(waitUntil(is_three, 5000000));
    setter.join();
    EXPECT_FALSE(waitUntil(AtomicEqualityTestPredicate<int>(value, 4), 0));
}
