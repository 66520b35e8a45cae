// The node allocator: whole trees give their memory back, nodes may die on
// any thread, and a client's subclass gets the size and alignment it needs.
#include "json/slab.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "qorbasic/json.h"

namespace {

using qor::detail::NodeSlab;

TEST(JsonSlab, FreeingATreeGivesItsChunksBackOnAnyThread) {
    if (!NodeSlab::enabled()) GTEST_SKIP() << "nodes come from operator new in this build";
    std::string text = "[null";  // enough nodes for many chunks
    for (int i = 0; i < 100000; ++i) text += ",[true,{}]";
    text += "]";
    const size_t before = NodeSlab::chunksInUse();
    std::unique_ptr<JsonNode> tree(JsonUtil::parse(text));
    ASSERT_NE(tree, nullptr);
    EXPECT_GT(NodeSlab::chunksInUse(), before + 50);
    tree.reset();
    // A thread keeps a few free chunks whole; the pages of more go back to
    // the kernel, which counts them as lazily freed.
    EXPECT_LE(NodeSlab::chunksInUse(), before + 17);
    EXPECT_GT(NodeSlab::chunksHandedBack(), 30u);
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string line;
    while (std::getline(rollup, line) && line.compare(0, 9, "LazyFree:") != 0) {
    }
    EXPECT_GE(std::atol(line.c_str() + 9), 30 * 64) << line;

    // Made on a thread that ends before the tree dies, freed on this one.
    std::thread([&] { tree.reset(JsonUtil::parse(text)); }).join();
    ASSERT_NE(tree, nullptr);
    std::thread([&] { tree.reset(); }).join();
    EXPECT_LE(NodeSlab::chunksInUse(), before + 17);
}

struct alignas(16) WideNode : JsonNull {
    long double wide = 1;
};
struct LargeNode : JsonNull {
    char bytes[4 * NodeSlab::kMaxSlabObject] = {};
};

TEST(JsonSlab, ClientSubclassesGetTheirSizeAndAlignment) {
    std::unique_ptr<JsonArray> array(new JsonArray);
    for (int i = 0; i < 1000; ++i) {
        array->push_back(new JsonNull);  // odd offsets before the wide nodes
        WideNode* wide = new WideNode;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(wide) % 16, 0u);
        array->push_back(wide);
        array->push_back(new LargeNode);
    }
}

}  // namespace
