// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureFixture.hpp"

#include <functional>
#include <string>
#include <vector>

namespace opc::model::test {

/// What someone does to a package behind the library's back.
using Change = std::function<void(Items&)>;

inline Change edit(const std::string& item, const std::string& from, const std::string& to) {
    return [=](Items& items) { items.replace(item, from, to); };
}

/// Puts a text in front of another one.
inline Change insert(const std::string& item, const std::string& before, const std::string& text) {
    return edit(item, before, text + before);
}

inline Change erase(const std::string& item) {
    return [=](Items& items) { items.erase(item); };
}

inline Change both(const Change& first, const Change& second) {
    return [=](Items& items) {
        first(items);
        second(items);
    };
}

struct Tampering {
    const char* what;
    Change change;
    std::string verdict{}; ///< empty: any that is bad
};

inline void expectVerdicts(const Bytes& zip, const std::vector<Tampering>& rows) {
    ASSERT_EQ(verdictOn(zip), "valid");
    for (const Tampering& row : rows) {
        Items items(zip);
        row.change(items);
        const std::string verdict = verdictOn(items.toZip());
        const bool isBad = verdict == "invalid" || verdict.rfind("refused", 0) == 0;
        EXPECT_TRUE(row.verdict.empty() ? isBad : verdict == row.verdict) << row.what << ": " << verdict;
    }
}

inline std::string relationship(const std::string& id, const std::string& type, const std::string& target) {
    return "<Relationship Id=\"" + id + "\" Type=\"" + type + "\" Target=\"" + target + "\"/>";
}

} // namespace opc::model::test
