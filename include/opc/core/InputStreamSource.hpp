// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/InputStream.hpp>

#include <boost/iostreams/categories.hpp>

#include <ios>

namespace opc {

/// A Boost.Iostreams Source over an input stream, so that `boost::iostreams::stream<InputStreamSource>`
/// is a standard stream of the same bytes.
///
/// It neither opens, closes nor owns the stream, which outlives every copy of the source. Copies continue
/// reading where another one stopped, since the position is in the stream.
class OPCRAFT_API InputStreamSource {
public:
    using char_type = char;
    using category = boost::iostreams::source_tag;

    explicit InputStreamSource(InputStream& stream);

    /// @return the bytes delivered, or -1 at the end, as Boost.Iostreams requires.
    /// @throws opc::Exception whatever the stream throws.
    std::streamsize read(char* buffer, std::streamsize size);

private:
    InputStream* stream_;
};

} // namespace opc
