// The scope guards: ScopedRelease, ScopedPtr, clear_vector and ClearVectorPolicy.
#include "qorbasic/guards.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

// Counts its live instances, so that a test sees every delete.
struct Tracked {
    static int alive;
    int value;
    explicit Tracked(int v = 0) : value(v) { ++alive; }
    ~Tracked() { --alive; }
};
int Tracked::alive = 0;

// A guard that records what it is asked to release instead of freeing it.
class RecordingRelease : public ScopedRelease<int> {
  public:
    explicit RecordingRelease(int* held) : ScopedRelease<int>(held) {}
    ~RecordingRelease() override { clear(); }
    void release(int* held) override { released.push_back(held); }
    std::vector<int*> released;
};

}  // namespace

TEST(GuardsTest, ReleaseGuardsScopedPtrAndClearVectorDisposeEachItemExactlyOnce) {
    int a = 1, b = 2;
    RecordingRelease guard(&a);
    guard.assign(&a);  // the pointer already held stays
    EXPECT_TRUE(guard.released.empty());
    guard.assign(&b);
    guard.clear();
    guard.clear();
    EXPECT_FALSE(guard.is_valid());
    guard.assign(nullptr);
    EXPECT_EQ(guard.released, (std::vector<int*>{&a, &b}));
    RecordingRelease empty(nullptr);
    empty.clear();
    EXPECT_TRUE(empty.released.empty());

    Tracked::alive = 0;
    {
        ScopedPtr<Tracked> ptr(new Tracked(7));
        ptr.assign(new Tracked(8));
        EXPECT_EQ(Tracked::alive, 1);
        EXPECT_EQ(ptr->value, 8);
    }
    EXPECT_EQ(Tracked::alive, 0);

    // clear_vector hands every slot over in ascending order, the null one too,
    // each already nulled.
    static std::vector<Tracked*>* watched;
    static std::vector<Tracked*> seen;
    std::vector<Tracked*> items = {new Tracked, nullptr, new Tracked};
    watched = &items;
    clear_vector<Tracked>(items, [](Tracked* item) {
        EXPECT_EQ((*watched)[seen.size()], nullptr);
        seen.push_back(item);
        deleting_disposal(item);
    });
    EXPECT_TRUE(items.empty());
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen[1], nullptr);

    try {
        ClearVectorPolicy<Tracked> cleanup(items);
        items.push_back(new Tracked);
        items.push_back(new Tracked);
        throw std::runtime_error("leave the scope");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(items.empty());
    EXPECT_EQ(Tracked::alive, 0);
}
