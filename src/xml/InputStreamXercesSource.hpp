// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>

#include <xercesc/sax/InputSource.hpp>
#include <xercesc/util/BinInputStream.hpp>

#include <cstdint>
#include <exception>

namespace opc::model {

/// The bytes of an input stream for one parse, and the reason when they ended early.
///
/// An exception that left `readBytes` would leak memory of the parser. So it is stored here, the parser sees the end of
/// the input, and the caller of the parse fetches the exception afterwards.
struct XmlInput {
    InputStream& stream;
    std::uint64_t maximumSize; ///< bytes
    std::exception_ptr failure;
};

/// Delivers at most the maximum size to the parser; a longer input is an error.
class InputStreamBinInputStream final : public xercesc::BinInputStream {
public:
    explicit InputStreamBinInputStream(XmlInput& input) : input_(input) {}

    XMLFilePos curPos() const override { return position_; }

    /// Fills the buffer unless the input ends: the parser detects the encoding from the bytes of the first call.
    XMLSize_t readBytes(XMLByte* buffer, XMLSize_t max) override;

    const XMLCh* getContentType() const override { return nullptr; }

private:
    XMLSize_t fill(XMLByte* buffer, XMLSize_t max);

    XmlInput& input_;
    XMLFilePos position_ = 0;
};

/// The input for a parser, with the system id "istream". The input outlives the source and its streams.
class InputStreamXercesSource final : public xercesc::InputSource {
public:
    explicit InputStreamXercesSource(XmlInput& input);

    xercesc::BinInputStream* makeStream() const override;

private:
    XmlInput& input_;
};

} // namespace opc::model
