// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <typeinfo>

namespace opc::test {

/// Succeeds when the action throws exactly this class with exactly this message.
template <class Error, class Action>
testing::AssertionResult throws(const std::string& message, Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        if (typeid(e) != typeid(Error))
            return testing::AssertionFailure() << "threw " << typeid(e).name() << ": " << e.what();
        if (e.what() != message)
            return testing::AssertionFailure() << "said \"" << e.what() << "\" instead of \"" << message << '"';
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "did not throw";
}

/// Succeeds when the action throws exactly this class, with a message that holds the text.
template <class Error, class Action>
testing::AssertionResult throwsSaying(const std::string& text, Action action) {
    try {
        action();
    } catch (const std::exception& e) {
        if (typeid(e) != typeid(Error))
            return testing::AssertionFailure() << "threw " << typeid(e).name() << ": " << e.what();
        if (std::string(e.what()).find(text) == std::string::npos)
            return testing::AssertionFailure() << "said \"" << e.what() << "\", without \"" << text << '"';
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "did not throw";
}

} // namespace opc::test
