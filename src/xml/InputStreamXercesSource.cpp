// SPDX-License-Identifier: Apache-2.0
#include "xml/InputStreamXercesSource.hpp"

#include "xml/XmlBounds.hpp"

namespace opc::model {

XMLSize_t InputStreamBinInputStream::readBytes(XMLByte* buffer, XMLSize_t max) {
    if (input_.failure)
        return 0;
    try {
        return fill(buffer, max);
    } catch (...) {
        input_.failure = std::current_exception();
        return 0;
    }
}

XMLSize_t InputStreamBinInputStream::fill(XMLByte* buffer, XMLSize_t max) {
    XMLSize_t filled = 0;
    while (filled < max && !input_.stream.isDone()) {
        const auto count = input_.stream.read(buffer + filled, static_cast<unsigned long>(max - filled));
        if (count == 0)
            break;
        filled += count;
    }
    position_ += filled;
    throwIfTooLarge(position_, input_.maximumSize);
    return filled;
}

InputStreamXercesSource::InputStreamXercesSource(XmlInput& input) : InputSource("istream"), input_(input) {}

xercesc::BinInputStream* InputStreamXercesSource::makeStream() const {
    return new InputStreamBinInputStream(input_);
}

} // namespace opc::model
