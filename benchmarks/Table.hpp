// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <vector>

namespace opc::benchmarks {

/// Prints one table of all that ran, at the end; while it runs, each measurement to the standard error stream.
class Table final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    bool isAnyFailed() const { return failed_; }

private:
    enum Column { Measurement, Ours, Floor, FloorName, Ratio, Aim, Verdict, COLUMNS };
    using Row = std::array<std::string, COLUMNS>;

    void add(const Run& run);
    void addComparison(const Run& run);
    void addPeak(const Run& run, const std::string& name);
    void print(const Row& row, const std::array<std::size_t, COLUMNS>& widths);

    std::vector<Row> rows_;
    bool failed_ = false;
};

} // namespace opc::benchmarks
