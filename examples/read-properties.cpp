// SPDX-License-Identifier: Apache-2.0
// read-properties FILE: prints title, author, dates and keywords of a package.
#include <opc/opcraft.hpp>

#include <cstdlib>
#include <iostream>

using opc::model::PackageHelper;

namespace {

void print(const char* name, const opc::model::CoreProperties::Text& text) {
    if (text)
        std::cout << name << ": " << opc::toUTF8(*text) << '\n';
}

void print(const char* name, const opc::model::CoreProperties::Time& time) {
    if (time)
        print(name, opc::convertTimeToString(*time));
}

void printProperties(const opc::model::Package& package) {
    // Some office programs relate core properties by a type of their own.
    const auto type = PackageHelper::findCorePropertiesRelationshipType(package);
    const auto properties = PackageHelper::getCoreProperties(package, type);
    print("title", properties.getTitle());
    print("creator", properties.getCreator());
    print("created", properties.getCreated());
    print("modified", properties.getModified());
    if (const auto keywords = properties.getKeywords())
        for (const auto& [keyword, language] : *keywords)
            print("keyword", language.empty() ? keyword : keyword + u" (" + language + u")");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: read-properties FILE\n";
        return EXIT_FAILURE;
    }
    try {
        opc::readPackage(argv[1], printProperties);
        return EXIT_SUCCESS;
    } catch (const std::exception& e) { // of which opc::Exception is one
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
