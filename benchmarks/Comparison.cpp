// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace opc::benchmarks {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 != 0)
        return *middle;
    return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

struct Samples {
    std::vector<double> ours;
    std::vector<double> floor;
    std::vector<double> ratio;
    std::uint64_t peak = 0;
    std::uint64_t floorPeak = 0;

    void add(const Cost& our, const Cost& other) {
        ours.push_back(our.seconds);
        floor.push_back(other.seconds);
        ratio.push_back(our.seconds / other.seconds);
        peak = std::max(peak, our.peakBytes);
        floorPeak = std::max(floorPeak, other.peakBytes);
    }
};

void report(benchmark::State& state, const Comparison& comparison, const Samples& samples) {
    state.SetLabel(comparison.floorName);
    state.counters[counter::ours] = median(samples.ours);
    state.counters[counter::floor] = median(samples.floor);
    state.counters[counter::ratio] = median(samples.ratio);
    state.counters[counter::aim] = comparison.aim;
    state.counters[counter::peak] = static_cast<double>(samples.peak);
    state.counters[counter::floorPeak] = static_cast<double>(samples.floorPeak);
    state.counters[counter::peakAim] = comparison.peakAim;
}

void run(benchmark::State& state, const Comparison& comparison, const Side& ours, const Side& floor) {
    if (comparison.warmUp) {
        ours();
        floor();
    }
    Samples samples;
    bool oursFirst = true;
    for ([[maybe_unused]] auto iteration : state) {
        Cost other;
        if (!oursFirst)
            other = floor();
        const Cost our = ours();
        if (oursFirst)
            other = floor();
        oursFirst = !oursFirst; // whoever is second might gain from the first, or suffer
        samples.add(our, other);
        state.SetIterationTime(our.seconds);
    }
    report(state, comparison, samples);
}

} // namespace

Side timed(std::function<std::shared_ptr<void>()> action) {
    return [action = std::move(action)] {
        const auto start = std::chrono::steady_clock::now();
        const std::shared_ptr<void> result = action();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        return Cost{taken.count(), 0};
    };
}

void registerComparison(const Comparison& comparison, SideMaker ours, SideMaker floor) {
    benchmark::RegisterBenchmark((comparison.name + "/beside " + comparison.floorName).c_str(),
                                 [comparison, ours = std::move(ours), floor = std::move(floor)](
                                     benchmark::State& state) { run(state, comparison, ours(), floor()); })
        ->UseManualTime()
        ->Iterations(comparison.pairs);
}

} // namespace opc::benchmarks
