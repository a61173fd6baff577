#include "ssh/crypto/KeyAgreement.h"

namespace ssh {

namespace {

// RFC 4253, section 8; RFC 4419; RFC 5656; RFC 8268; RFC 8731.
constexpr KexMethod kMethods[] = {
    {"diffie-hellman-group-exchange-sha256", KexFamily::GroupExchange, GCRY_MD_SHA256, 0},
    {"diffie-hellman-group-exchange-sha1", KexFamily::GroupExchange, GCRY_MD_SHA1, 0},
    {"diffie-hellman-group1-sha1", KexFamily::Group, GCRY_MD_SHA1, 1},
    {"diffie-hellman-group14-sha1", KexFamily::Group, GCRY_MD_SHA1, 14},
    {"curve25519-sha256@libssh.org", KexFamily::X25519, GCRY_MD_SHA256, 0},
    {"ecdh-sha2-nistp256", KexFamily::Nist, GCRY_MD_SHA256, 256},
    {"ecdh-sha2-nistp384", KexFamily::Nist, GCRY_MD_SHA384, 384},
    {"ecdh-sha2-nistp521", KexFamily::Nist, GCRY_MD_SHA512, 521},
    {"curve25519-sha256", KexFamily::X25519, GCRY_MD_SHA256, 0},
    {"diffie-hellman-group14-sha256", KexFamily::Group, GCRY_MD_SHA256, 14},
    {"diffie-hellman-group16-sha512", KexFamily::Group, GCRY_MD_SHA512, 16},
};

} // namespace

const KexMethod* findKexMethod(std::string_view name)
{
    for (const KexMethod& method : kMethods)
        if (method.name == name)
            return &method;
    return nullptr;
}

std::unique_ptr<KeyAgreement> createAgreement(const KexMethod& method)
{
    switch (method.family) {
    case KexFamily::Group:
        return createDhAgreement(fixedGroup(method.parameter));
    case KexFamily::Nist:
        return createNistAgreement(method.parameter);
    case KexFamily::X25519:
        return createX25519Agreement();
    case KexFamily::GroupExchange:
        break;
    }
    return nullptr;
}

} // namespace ssh
