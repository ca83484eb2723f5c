// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace opc::test {

/// A key of 1024 bits that was made for these tests alone, as an RSAPrivateKey of PKCS#1 in base64.
constexpr std::string_view FIXED_PRIVATE_KEY =
    "MIICXAIBAAKBgQC6Aos4pqpx5koqciou6n+pm8GuIK3SAqeNZWEDmHB8mkRmjKrotUg+KQlQicBqV7GmozpbI6CVar6jMzdD1PK+qL/L05hd"
    "v99blH6v0DeofsQv06Oh70DQQFutohaOvVmAmmmF78eY4JV1wDsfrXaHE3jlHqdKZOLJjM6myAE14QIDAQABAoGBAKHpyvRCJ4XD1vVBsTRr"
    "jTq/SQVgjs2K3/x1rc/qZqgfxMCbW7365uqs393KOsKWmR4bYZWp2oOVimIXF9kkyTLshypxeU6Ljqp5kfjfHLqxstgb4bv5NQNTlwGQDKil"
    "CUzmtY6Z3S9zQeAdNhMtueXHrgm3Yk9l4iqg2O7J6pBdAkEA9orErf05pvIFsqfBsKnJ+VP/oRMJFyC1gM42uFz/b3LVxkzu9QlxiJBenyUM"
    "71BgvAz4Bhc9CzOovz4UT1ob5wJBAMElTcKABdWHKKfj3saJcN7+UEn/2RaD/EjB3DWvKd6ddmjid0Xvz662hWMtfMU+U4hlEUN2nil3siZD"
    "P8s0JvcCQBA9cdk4Lf0GQkPTcxnNBWXsF5GnrFieqfYTH12jmpvfx58pYDA58AWb5O+8xA5bkBOzEv9rtnSvcXUvhKz5dY8CQF5dLl+Pksof"
    "DcLw9r+DGM0p7OoqgNKaS2D0rfTgjpE/10EpG+LkZlBSxlqNN79aUw95aXTPeDiETVqaUomiAkMCQEY/LBA1p83/Sa5XA/LNGLtyLvewMRKt"
    "2Omti0iJnEXDwo9WmEFEbrvhldeP1UgaRoTRRZ1jQq+/nEtaMzkgOxU=";

/// Its modulus, in base64; its exponent is 65537.
constexpr std::string_view FIXED_MODULUS =
    "ugKLOKaqceZKKnIqLup/qZvBriCt0gKnjWVhA5hwfJpEZoyq6LVIPikJUInAalexpqM6WyOglWq+ozM3Q9Tyvqi/y9OYXb/fW5R+r9A3qH7E"
    "L9Ojoe9A0EBbraIWjr1ZgJpphe/HmOCVdcA7H612hxN45R6nSmTiyYzOpsgBNeE=";

/// Its signature over "abc" with SHA-256 and the padding of PKCS#1 v1.5, made by the openssl command, in base64.
constexpr std::string_view FIXED_SIGNATURE =
    "R0l7mmZJIRM0ZsNJWMevev+RAAdP//IaqW1LDJpwGnrUIUBrs072B5nqtCy02RzouQH06Iboq6n9oD+bVXhHsjzcNR8vfzxnIKqQ413PjXP0"
    "yawWEcOHNGjuD+CfbYUSLldTn/M79ZbdLUEmc7RTf7SbFHJuBJp9bfdm4RFjhds=";

} // namespace opc::test
