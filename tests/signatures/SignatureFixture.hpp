// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/FixedKey.hpp"
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"

#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include "signatures/SigningClock.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace opc::model::test {

using certificates::CertificateValidationOptions;
using certificates::TrustStore;
using interfaces::OpenMode;
using Bytes = std::vector<unsigned char>;

inline const SignatureParams params1024{DigestMethod::SHA256, SignatureMethod::RSA1024};

/// The private key that most tests sign with, since its signatures are made at once.
inline Bytes fixedKey() {
    return crypto::CryptoEngine::decodeBase64(opc::test::FIXED_PRIVATE_KEY);
}

inline Bytes publicKeyOf(const Bytes& privateKey) {
    return crypto::RSAPrivateKey::fromDER(privateKey).getPublicKey().toDER();
}

/// What someone has who changes a package behind the library's back: the items of its ZIP file, by name.
class Items {
public:
    Items() = default;
    explicit Items(const Bytes& zip) {
        Bytes bytes = zip;
        storage::ZipPackage package(bytes);
        package.open(OpenMode::ReadOnly);
        for (const storage::ZipItem& item : package.getItems())
            items_.emplace_back(item.name, opc::test::readAll(*package.getItemInputStream(item.name)));
    }

    std::string& operator[](const std::string& name) {
        for (auto& item : items_)
            if (item.first == name)
                return item.second;
        items_.emplace_back(name, std::string());
        return items_.back().second;
    }

    void erase(const std::string& name) {
        items_.erase(std::remove_if(items_.begin(), items_.end(), [&](const auto& each) { return each.first == name; }),
                     items_.end());
    }

    /// Replaces the first occurrence of a text in an item; it has to be there.
    void replace(const std::string& name, const std::string& from, const std::string& to) {
        std::string& text = (*this)[name];
        const std::size_t found = text.find(from);
        if (found == std::string::npos)
            throw std::runtime_error("there is no \"" + from + "\" in " + name + ": " + text);
        text.replace(found, from.size(), to);
    }

    std::map<std::string, std::string> byName() const { return {items_.begin(), items_.end()}; }

    void reverse() { std::reverse(items_.begin(), items_.end()); }

    Bytes toZip(int method = Z_DEFLATED) const {
        std::vector<opc::test::RawItem> raw;
        for (const auto& [name, content] : items_) {
            raw.push_back({name, content});
            raw.back().method = method;
        }
        return opc::test::makeZip(raw);
    }

private:
    std::vector<std::pair<std::string, std::string>> items_;
};

/// A package of two texts, a picture and core properties, with relationships of all kinds.
inline Items letter() {
    const std::string relationships = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/"
                                      "relationships\">";
    Items items;
    items["[Content_Types].xml"] =
        "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
        "<Default Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
        "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
        "<Default Extension=\"png\" ContentType=\"image/png\"/>"
        "<Override PartName=\"/metadata/coreProperties.xml\" "
        "ContentType=\"application/vnd.openxmlformats-package.core-properties+xml\"/></Types>";
    items["_rels/.rels"] =
        relationships +
        "<Relationship Id=\"rId1\" Type=\"urn:main\" Target=\"word/document.xml\"/>"
        "<Relationship Id=\"rId2\" "
        "Type=\"http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties\" "
        "Target=\"metadata/coreProperties.xml\"/></Relationships>";
    items["word/document.xml"] = "<document>Dear Ada</document>";
    items["word/_rels/document.xml.rels"] =
        relationships +
        "<Relationship Id=\"rId1\" Type=\"urn:styles\" Target=\"styles.xml\"/>"
        "<Relationship Id=\"rId2\" Type=\"urn:link\" Target=\"http://example.org/?a=1&amp;b=2\" "
        "TargetMode=\"External\"/>"
        "<Relationship Id=\"rId3\" Type=\"urn:link\" Target=\"http://example.org/two\" TargetMode=\"External\"/>"
        "<Relationship Id=\"rId10\" Type=\"urn:picture\" Target=\"/media/image.png\" TargetMode=\"Internal\"/>"
        "</Relationships>";
    items["word/styles.xml"] = "<styles/>";
    items["media/image.png"] = std::string("\x89PNG\0\xFF", 6);
    items["metadata/coreProperties.xml"] =
        "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
        "xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><cp:keywords>one</cp:keywords><dc:title>Letter</dc:title>"
        "</cp:coreProperties>";
    return items;
}

/// A package in the bytes of a ZIP file, open, with its signatures.
class Opened {
public:
    explicit Opened(Bytes& zip, OpenMode mode = OpenMode::ReadWrite)
        : physical(zip), package(physical), manager(package) {
        package.open(mode);
    }

    storage::ZipPackage physical;
    Package package;
    DigitalSignatureManager manager;
};

/// Nothing is asked of certificates.
inline CertificateValidationOptions noOptions() {
    CertificateValidationOptions options;
    options.setCheckChain(false);
    options.setCheckPurpose(false);
    options.setCheckValidityTime(false);
    return options;
}

/// What all signatures of a package come to: "valid", "invalid", "unsigned", or "refused: " and why.
inline std::string verdictOn(Bytes zip) {
    try {
        const Opened opened(zip, OpenMode::ReadOnly);
        if (!opened.manager.isPackageSigned())
            return "unsigned";
        return opened.manager.verifyAllSignatures(noOptions(), TrustStore()).isSignatureValid() ? "valid" : "invalid";
    } catch (const InvalidSignature& e) {
        return std::string("refused: ") + e.what();
    } catch (const InvalidRelationshipContent& e) {
        return std::string("refused: ") + e.what();
    }
}

/// Opens a package, lets an action change it, and saves it.
template <class Action>
Bytes changed(Bytes zip, Action action) {
    Opened opened(zip);
    action(opened);
    opened.package.close();
    return zip;
}

inline Bytes signedLetter() {
    return changed(letter().toZip(), [](Opened& opened) { opened.manager.signPackage(fixedKey(), params1024); });
}

/// Signs at a time of its own.
class WithClock : public testing::Test {
protected:
    WithClock() {
        setSigningClock([] { return boost::posix_time::time_from_string("2026-03-04 05:06:59.5"); });
    }
    ~WithClock() override { setSigningClock(nullptr); }
};

} // namespace opc::model::test
