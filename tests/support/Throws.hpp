// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <typeinfo>

namespace opc::test {

/// Succeeds when the action throws something that `isRight`.
template <class Action, class IsRight>
testing::AssertionResult throwsWhat(Action action, IsRight isRight) {
    try {
        action();
    } catch (const std::exception& e) {
        return (isRight(e) ? testing::AssertionSuccess() : testing::AssertionFailure())
               << "threw " << typeid(e).name() << ": " << e.what();
    }
    return testing::AssertionFailure() << "did not throw";
}

/// Succeeds when the action throws exactly this class with exactly this message.
template <class Error, class Action>
testing::AssertionResult throws(const std::string& message, Action action) {
    return throwsWhat(
        action, [&](const auto& e) { return typeid(e) == typeid(Error) && e.what() == message; });
}

/// Succeeds when the action throws exactly this class, with a message that holds the text.
template <class Error, class Action>
testing::AssertionResult throwsSaying(const std::string& text, Action action) {
    const auto says = [&](const auto& e) { return std::string(e.what()).find(text) != std::string::npos; };
    return throwsWhat(action, [&](const auto& e) { return typeid(e) == typeid(Error) && says(e); });
}

} // namespace opc::test
