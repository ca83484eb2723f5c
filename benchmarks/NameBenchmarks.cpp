// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"

#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>

#include <benchmark/benchmark.h>

#include <string>

namespace opc::benchmarks {

namespace {

template <class Value>
void construct(benchmark::State& state, const std::u16string& text) {
    for ([[maybe_unused]] auto iteration : state) {
        const Value value(text);
        benchmark::DoNotOptimize(&value);
    }
}

template <class Value>
void registerConstruction(const char* name, const char16_t* text) {
    benchmark::RegisterBenchmark(
        name, [text = std::u16string(text)](benchmark::State& state) { construct<Value>(state, text); });
}

} // namespace

void registerNames() {
    registerConstruction<model::PartName>("construct a PartName", u"/word/theme/theme1.xml");
    registerConstruction<model::URI>("construct a relative URI", u"../media/image1.png");
    registerConstruction<model::URI>("construct an absolute URI",
                                     u"https://www.example.org/a/path/to/something?with=a&query=1#fragment");
    registerConstruction<model::ContentType>(
        "construct a ContentType", u"application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml");
    registerConstruction<model::ContentType>("construct a ContentType with a parameter",
                                             u"text/plain; charset=\"utf-8\"");
}

} // namespace opc::benchmarks
