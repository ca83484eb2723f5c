// SPDX-License-Identifier: Apache-2.0
#include "Table.hpp"

#include "Comparison.hpp"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

namespace opc::benchmarks {

namespace {

constexpr double mebibyte = 1024.0 * 1024.0;

std::string fixed(double value, int digits) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

std::string threeDigits(double value) {
    return fixed(value, value < 10 ? 2 : value < 100 ? 1 : 0);
}

std::string showTime(double seconds) {
    if (seconds < 1e-6)
        return threeDigits(seconds * 1e9) + " ns";
    if (seconds < 1e-3)
        return threeDigits(seconds * 1e6) + " us";
    return seconds < 1 ? threeDigits(seconds * 1e3) + " ms" : threeDigits(seconds) + " s";
}

std::string showSize(double bytes) {
    return fixed(bytes / mebibyte, 1) + " MiB";
}

double valueOf(const benchmark::BenchmarkReporter::Run& run, const char* name) {
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? 0 : found->second.value;
}

const char* verdict(double value, double aim) {
    return aim == 0 ? "-" : value <= aim ? "met" : "MISSED";
}

/// The name without what the framework appends ("/iterations:5/manual_time") and without the name of the floor.
std::string shortName(const benchmark::BenchmarkReporter::Run& run) {
    const std::string& name = run.run_name.function_name;
    return name.substr(0, name.find("/beside "));
}

} // namespace

bool Table::ReportContext(const Context& /*context*/) {
    return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        add(run);
        const Row& row = rows_.back();
        GetErrorStream() << row[Measurement] << ": " << row[Ours] << ", " << row[Verdict] << std::endl;
    }
}

void Table::add(const Run& run) {
    const std::string name = shortName(run);
    if (run.error_occurred) {
        failed_ = true;
        rows_.push_back({name, "-", "-", run.report_label, "-", "-", "FAILED: " + run.error_message});
    } else if (run.counters.count(counter::ratio) != 0) {
        addComparison(run);
    } else {
        const double seconds = run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        rows_.push_back({name, showTime(seconds), "-", "", "-", "-", "-"});
    }
}

void Table::addComparison(const Run& run) {
    const double ratio = valueOf(run, counter::ratio);
    const double aim = valueOf(run, counter::aim);
    rows_.push_back({shortName(run), showTime(valueOf(run, counter::ours)), showTime(valueOf(run, counter::floor)),
                     run.report_label, fixed(ratio, 2), aim == 0 ? "-" : fixed(aim, 2), verdict(ratio, aim)});
    if (valueOf(run, counter::peak) != 0)
        addPeak(run, shortName(run) + ", peak memory");
}

void Table::addPeak(const Run& run, const std::string& name) {
    const double peak = valueOf(run, counter::peak);
    const double floorPeak = valueOf(run, counter::floorPeak);
    const double aim = valueOf(run, counter::peakAim);
    rows_.push_back({name, showSize(peak), showSize(floorPeak), run.report_label, fixed(peak / floorPeak, 2),
                     aim == 0 ? "-" : showSize(aim), verdict(peak, aim)});
}

void Table::Finalize() {
    rows_.insert(rows_.begin(), {"measurement", "ours", "floor", "floor is", "ratio", "aim", "verdict"});
    std::array<std::size_t, COLUMNS> widths{};
    for (const Row& row : rows_)
        for (std::size_t column = 0; column < COLUMNS; ++column)
            widths[column] = std::max(widths[column], row[column].size());
    for (const Row& row : rows_)
        print(row, widths);
}

void Table::print(const Row& row, const std::array<std::size_t, COLUMNS>& widths) {
    std::ostream& out = GetOutputStream();
    for (std::size_t column = 0; column < COLUMNS; ++column) {
        const bool isText = column == Measurement || column == FloorName || column == Verdict;
        const int width = column == Verdict ? 0 : static_cast<int>(widths[column]);
        out << (isText ? std::left : std::right) << std::setw(width) << row[column]
            << (column == Verdict ? "\n" : "  ");
    }
}

} // namespace opc::benchmarks
