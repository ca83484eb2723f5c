// SPDX-License-Identifier: Apache-2.0
// read-properties FILE: prints title, author, dates and keywords of a package.
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <cstdlib>
#include <iostream>

using opc::model::PackageHelper;

namespace {

void print(const char* name, const opc::model::CoreProperties::Text& text) {
    if (text)
        std::cout << name << ": " << opc::detail::toUTF8String(*text) << '\n';
}

void print(const char* name, const opc::model::CoreProperties::Time& time) {
    if (time)
        print(name, opc::convertTimeToString(*time));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: SPDX-License-Identifier\n";
        return EXIT_FAILURE;
    }
    try {
        opc::storage::ZipPackage file(argv[1]);
        opc::model::Package package(file);
        package.open(opc::interfaces::OpenMode::ReadOnly);

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
        return EXIT_SUCCESS;
    } catch (const opc::Exception& e) {
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
