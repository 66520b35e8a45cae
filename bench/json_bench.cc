// Parse and serialise of the json-bench documents: our tree beside
// nlohmann::json and RapidJSON. Throughput is counted in bytes of the
// document, for parse and serialise alike. A parse includes freeing the tree,
// for every implementation. The column "allocs" gives the heap allocations of
// one parse or serialise of the document: calls of malloc and its kin
// (operator new goes through malloc) and anonymous memory maps, which is how
// our node chunks are made.
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "qorbasic/json.h"

#ifdef QOR_HAVE_NLOHMANN
#include <nlohmann/json.hpp>
#endif
#ifdef QOR_HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void __libc_free(void* block);
}

namespace {

// Single-threaded counting: a plain load and store, no locked instruction.
std::atomic<size_t> allocations{0};
void countAllocation() {
    allocations.store(allocations.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

// The benchmark binary's own malloc family: glibc's, counted.
extern "C" void* malloc(size_t size) {
    countAllocation();
    return __libc_malloc(size);
}
extern "C" void* calloc(size_t count, size_t size) {
    countAllocation();
    return __libc_calloc(count, size);
}
extern "C" void* realloc(void* old, size_t size) {
    countAllocation();
    return __libc_realloc(old, size);
}
extern "C" void free(void* block) {
    __libc_free(block);
}
extern "C" void* mmap(void* address, size_t length, int protection, int flags, int fd,
                      off_t offset) {
    if (flags & MAP_ANONYMOUS) countAllocation();
    return reinterpret_cast<void*>(
        syscall(SYS_mmap, address, length, protection, flags, fd, offset));
}

namespace {

struct Document {
    const char* label;
    const char* file;
    std::string text;
};

bool usable(benchmark::State& state, const Document& doc) {
    if (!doc.text.empty()) return true;
    state.SkipWithError(
        (std::string("document missing: ") + QOR_SHARED_DATA_DIR + "/json-bench/" + doc.file)
            .c_str());
    return false;
}

// Runs `once` in the timed loop, then once more to count its allocations.
template <class Once>
void measure(benchmark::State& state, const Document& doc, Once once) {
    for (auto _ : state) once();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.text.size()));
    size_t before = allocations.load();
    once();
    state.counters["allocs"] = static_cast<double>(allocations.load() - before);
}

void parseQorbasic(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    measure(state, *doc, [&] {
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(doc->text));
        if (!tree) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(tree.get());
    });
}

void serializeQorbasic(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    std::unique_ptr<JsonNode> tree(JsonUtil::parse(doc->text));
    if (!tree) return state.SkipWithError("parse failed");
    measure(state, *doc, [&] {
        std::string text = tree->toString();
        benchmark::DoNotOptimize(text.data());
    });
}

#ifdef QOR_HAVE_NLOHMANN
void parseNlohmann(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    measure(state, *doc, [&] {
        nlohmann::json tree = nlohmann::json::parse(doc->text);
        benchmark::DoNotOptimize(&tree);
    });
}

void serializeNlohmann(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    nlohmann::json tree = nlohmann::json::parse(doc->text);
    measure(state, *doc, [&] {
        std::string text = tree.dump();
        benchmark::DoNotOptimize(text.data());
    });
}
#endif

#ifdef QOR_HAVE_RAPIDJSON
void parseRapidjson(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    measure(state, *doc, [&] {
        rapidjson::Document tree;
        tree.Parse(doc->text.c_str(), doc->text.size());
        if (tree.HasParseError()) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(&tree);
    });
}

void serializeRapidjson(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    rapidjson::Document tree;
    tree.Parse(doc->text.c_str(), doc->text.size());
    measure(state, *doc, [&] {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        tree.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    });
}
#endif

// Flat arrays of nan with no blanks, whose number scan once grew with the
// rest of the array: the MB/s of the three sizes must stay level.
void parseFlatArray(benchmark::State& state, size_t size) {
    std::string text = "[nan";
    while (text.size() < size) text += ",nan";
    text += "]";
    for (auto _ : state) {
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(text));
        if (!tree) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(tree.get());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

using Case = void (*)(benchmark::State&, const Document*);

void add(const std::string& op, const Document* doc, const char* impl, Case run) {
    benchmark::RegisterBenchmark((op + doc->label + "/" + impl).c_str(), run, doc)
        ->Unit(benchmark::kMillisecond);
}

// The documents live for the whole run; they are read once, before main.
const bool registered = [] {
    static Document documents[] = {{"Twitter", "twitter.json", {}},
                                   {"Citm", "citm_catalog.json", {}},
                                   {"Canada", "canada.json", {}}};
    for (Document& doc : documents) {
        std::ifstream in(std::string(QOR_SHARED_DATA_DIR) + "/json-bench/" + doc.file,
                         std::ios::binary);
        doc.text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    const struct {
        const char* op;
        const char* impl;
        Case run;
    } cases[] = {
        {"Parse", "qorbasic", parseQorbasic},   {"Serialize", "qorbasic", serializeQorbasic},
#ifdef QOR_HAVE_NLOHMANN
        {"Parse", "nlohmann", parseNlohmann},   {"Serialize", "nlohmann", serializeNlohmann},
#endif
#ifdef QOR_HAVE_RAPIDJSON
        {"Parse", "rapidjson", parseRapidjson}, {"Serialize", "rapidjson", serializeRapidjson},
#endif
    };
    for (const char* op : {"Parse", "Serialize"}) {
        for (const Document& doc : documents) {
            for (const auto& c : cases) {
                if (std::string(c.op) == op) add(op, &doc, c.impl, c.run);
            }
        }
    }
    // 256 KiB to 1 MiB of text: trees of 3.5 to 14 MiB, within the node memory
    // that a thread keeps for reuse, so that the figures compare the parse
    // alone. A larger tree maps fresh pages for what lies beyond that memory,
    // which costs more per byte (1.6 times as much at 4 MiB of text).
    for (int times : {1, 2, 4}) {
        benchmark::RegisterBenchmark(
            ("ParseFlatNan" + std::to_string(times) + "x/qorbasic").c_str(),
            [times](benchmark::State& state) { parseFlatArray(state, size_t(times) << 18); })
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
