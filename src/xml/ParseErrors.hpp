// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>

#include <xercesc/dom/DOMErrorHandler.hpp>

#include <memory>
#include <string>

namespace opc::model {

/// Keeps the first error of a parse, and where it lies; warnings are ignored.
///
/// The parser reports errors in a tag before it delivers the element. So it continues after an error, as
/// long as fewer than `MOST_ERRORS` follow, and the handler of the element ends the parse.
class ParseErrors final : public xercesc::DOMErrorHandler {
public:
    /// A tag may have many errors, and each takes time.
    static constexpr unsigned int MOST_ERRORS = 100;

    void clear();

    bool isEmpty() const { return count_ == 0; }

    /// Whether there is an error, and it was found there.
    bool isAt(std::uint64_t line, std::uint64_t column) const {
        return !isEmpty() && place_.line == line && place_.column == column;
    }

    /// The place of the error, to be completed.
    ErrorPlace& getPlace() { return place_; }

    /// @return whether to continue.
    bool handleError(const xercesc::DOMError& error) override;

    /// @throws InvalidXMLDocument with the message and the place of the error, when there is one.
    /// @throws std::bad_alloc when it could not be kept.
    void throwIfError() const;

private:
    void keep(const xercesc::DOMError& error);

    unsigned int count_ = 0;
    bool isKept_ = false;
    std::string message_;
    ErrorPlace place_;
};

} // namespace opc::model
