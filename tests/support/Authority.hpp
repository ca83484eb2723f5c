// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/OpenSSL.hpp"

#include <opc/certificates/X509Certificate.hpp>

#include <map>
#include <string>
#include <vector>

namespace opc::test {

/// What a certificate is to be; the rest is the same for all of them.
struct Request {
    std::string name;   ///< of its files ("name.pem", "name.key") and its subject
    std::string issuer; ///< its own name when it signs itself
    std::string key{};  ///< whose key it is for; empty: one of its own
    std::string extensions = "keyUsage=critical,digitalSignature";
    std::string from = "20240101000000Z";
    std::string until = "20260101000000Z";
    std::string digest = "sha256";
    std::string bits = "2048";
    std::string subject{}; ///< empty: made of the name
};

/// Issues certificates by the openssl command, in a folder of its own.
class Authority {
public:
    Authority() {
        write("ca.cnf", "[ca]\ndefault_ca=d\n[d]\nnew_certs_dir=.\ndatabase=index\nserial=serial\npolicy=p\n"
                        "email_in_dn=no\nunique_subject=no\n[p]\ncommonName=supplied\n"
                        "organizationName=optional\n[req]\ndistinguished_name=dn\n[dn]\n");
        write("index", "");
        write("serial", "01");
    }

    void issue(const Request& request) {
        const std::string key = (request.key.empty() ? request.name : request.key) + ".key";
        if (!std::filesystem::exists(folder / key))
            openssl(folder,
                    {"genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:" + request.bits, "-out", key});
        const std::string subject = request.subject.empty() ? "/CN=" + request.name : request.subject;
        openssl(folder, {"req", "-new", "-utf8", "-config", "ca.cnf", "-key", key, "-subj", subject, "-out", "csr"});
        write("ext", "[e]\n" + request.extensions + "\n");
        std::vector<std::string> arguments = {
            "ca",           "-batch",           "-notext",    "-config",     "ca.cnf",   "-in",         "csr",
            "-out",         file(request.name), "-startdate", request.from,  "-enddate", request.until, "-md",
            request.digest, "-extfile",         "ext",        "-extensions", "e"};
        if (request.issuer == request.name)
            arguments.insert(arguments.end(), {"-selfsign", "-keyfile", key});
        else
            arguments.insert(arguments.end(), {"-cert", file(request.issuer), "-keyfile", request.issuer + ".key"});
        openssl(folder, arguments);
    }

    static std::string file(const std::string& name) { return name + ".pem"; }
    std::string text(const std::string& name) const { return toText(readFile(folder / file(name))); }
    certificates::X509Certificate certificate(const std::string& name) const {
        return certificates::X509Certificate::fromPEM(text(name));
    }
    void write(const std::string& name, const std::string& text) { writeFile(folder / name, toBytes(text)); }

    const TemporaryFolder folder;
};

} // namespace opc::test
