// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureForm.hpp"

namespace opc::model {

const SignatureForm& libraryForm() {
    // The relationship types and the content type of signatures lack a hyphen that those of ECMA-376-2 Annex E have,
    // and the transform is written by the name that it had before the standard: packages that were signed so are out
    // there.
    static constexpr SignatureForm form{
        u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/origin",
        u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/signature",
        u"application/vnd.openxmlformats-package.digital-signature-origin",
        u"application/vnd.openxmlformats-package.digital-signaturexmlsignature+xml",
        u"/_xmlsignatures/origin.sigs",
        u"/_xmlsignatures",
        u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform",
        {u"http://schemas.openxmlformats.org/package/2006/RelationshipTransform",
         u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform"},
        u"RelationshipGroupReference",
        {u"RelationshipGroupReference", u"RelationshipsGroupReference"},
        AlgorithmTag::CanonicalizationC14N,
        u"http://www.w3.org/2000/09/xmldsig#Object",
        ObjectDigestForm::PlainText,
    };
    return form;
}

} // namespace opc::model
