// Parse and serialise of the json-bench documents: our tree beside
// nlohmann::json and RapidJSON. Throughput is counted in bytes of the
// document, for parse and serialise alike. A parse includes freeing the tree,
// for every implementation.
#include <benchmark/benchmark.h>

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

void finish(benchmark::State& state, const Document& doc) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.text.size()));
}

void parseQorbasic(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    for (auto _ : state) {
        std::unique_ptr<JsonNode> tree(JsonUtil::parse(doc->text));
        if (!tree) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(tree.get());
    }
    finish(state, *doc);
}

void serializeQorbasic(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    std::unique_ptr<JsonNode> tree(JsonUtil::parse(doc->text));
    if (!tree) return state.SkipWithError("parse failed");
    for (auto _ : state) {
        std::string text = tree->toString();
        benchmark::DoNotOptimize(text.data());
    }
    finish(state, *doc);
}

#ifdef QOR_HAVE_NLOHMANN
void parseNlohmann(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    for (auto _ : state) {
        nlohmann::json tree = nlohmann::json::parse(doc->text);
        benchmark::DoNotOptimize(&tree);
    }
    finish(state, *doc);
}

void serializeNlohmann(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    nlohmann::json tree = nlohmann::json::parse(doc->text);
    for (auto _ : state) {
        std::string text = tree.dump();
        benchmark::DoNotOptimize(text.data());
    }
    finish(state, *doc);
}
#endif

#ifdef QOR_HAVE_RAPIDJSON
void parseRapidjson(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    for (auto _ : state) {
        rapidjson::Document tree;
        tree.Parse(doc->text.c_str(), doc->text.size());
        if (tree.HasParseError()) state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(&tree);
    }
    finish(state, *doc);
}

void serializeRapidjson(benchmark::State& state, const Document* doc) {
    if (!usable(state, *doc)) return;
    rapidjson::Document tree;
    tree.Parse(doc->text.c_str(), doc->text.size());
    for (auto _ : state) {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        tree.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
    finish(state, *doc);
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
    for (int times : {1, 2, 4}) {
        benchmark::RegisterBenchmark(
            ("ParseFlatNan" + std::to_string(times) + "x/qorbasic").c_str(),
            [times](benchmark::State& state) { parseFlatArray(state, size_t(times) << 20); })
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
