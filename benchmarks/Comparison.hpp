// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace opc::benchmarks {

/// What one run of a side took.
struct Cost {
    double seconds = 0;
    std::uint64_t peakBytes = 0; ///< the most memory the process held; 0 where nobody asked
};

using Side = std::function<Cost()>;

/// Times an action of this process. What it returns is destroyed off the clock, so that both sides leave tidying out.
Side timed(std::function<std::shared_ptr<void>()> action);

/// One line of the table: ours beside a floor.
struct Comparison {
    std::string name;
    std::string floorName;
    int pairs;          ///< how often the two sides run in turn
    double aim = 0;     ///< the largest ratio that is good; 0 for none
    double peakAim = 0; ///< the most bytes of memory that are good; 0 for none
    bool warmUp = true; ///< runs each side once unmeasured before, as caches and allocators have to settle
};

/// What a side is called for, so that files are made only for what really runs.
using SideMaker = std::function<Side()>;

/// Has the sides run in turn, so that what else the machine does meets both, and reports the median of the ratios of
/// the pairs, which one disturbed run does not move.
void registerComparison(const Comparison& comparison, SideMaker ours, SideMaker floor);

/// The names of the counters by which a comparison reaches the table.
namespace counter {
inline constexpr const char* ours = "ours";
inline constexpr const char* floor = "floor";
inline constexpr const char* ratio = "ratio";
inline constexpr const char* aim = "aim";
inline constexpr const char* peak = "peak";
inline constexpr const char* floorPeak = "floor_peak";
inline constexpr const char* peakAim = "peak_aim";
} // namespace counter

} // namespace opc::benchmarks
