// SPDX-License-Identifier: Apache-2.0
// Reads a part from a store that keeps no content types stream and takes no new parts, as a program with a format of
// its own may have it; catches an error of the library by its class.
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>

#include "support/ScriptedPackage.hpp"

#include <cstdlib>
#include <iostream>

int main() {
    opc::test::ScriptedPackage store;
    store.add(u"/greeting.txt", "Hello", u"text/plain");
    store.failures["createPart"] = boost::system::errc::operation_not_permitted;
    opc::model::Package package(store);
    package.open(opc::interfaces::OpenMode::ReadWrite);
    opc::InputStream* stream = package.getPart(u"/greeting.txt").getInputStream();
    unsigned char text[16];
    stream->open();
    std::cout.write(reinterpret_cast<const char*>(text), static_cast<std::streamsize>(stream->read(text, sizeof text)));
    std::cout << " from " << package.getParts().size() << " part\n";
    try {
        package.createExternalRelationship(u"http://type", u"http://target");
        return EXIT_FAILURE;
    } catch (const opc::model::PartCreateFailed& e) {
        std::cout << "As expected: " << e.what() << '\n';
    }
    return EXIT_SUCCESS;
}
