#include "ssh/crypto/PrivateKey.h"

#include "platform/Gcrypt.h"
#include "ssh/crypto/KeyEncryption.h"
#include "ssh/crypto/Wire.h"

#include <algorithm>

namespace ssh {

namespace {

// Reads the two DER types that the PEM forms use: SEQUENCE and non-negative INTEGER.
class DerReader {
public:
    explicit DerReader(ByteView bytes) : reader_(bytes) { }
    ByteView sequence() { return element(0x30); }
    ByteView integer()
    {
        ByteView value = element(0x02);
        if (value.empty() || value[0] & 0x80) {
            reader_.fail();
            return {};
        }
        while (!value.empty() && value[0] == 0)
            value = value.subspan(1);
        return value;
    }
    bool ok() const { return reader_.ok(); }

private:
    ByteView element(std::uint8_t tag)
    {
        if (reader_.byte() != tag)
            reader_.fail();
        std::size_t length = reader_.byte();
        if (length & 0x80) {
            const std::size_t count = length & 0x7f;
            if (count == 0 || count > 4)
                reader_.fail();
            length = 0;
            for (const std::uint8_t digit : reader_.bytes(reader_.ok() ? count : 0))
                length = length << 8 | digit;
        }
        return reader_.bytes(length);
    }

    WireReader reader_;
};

const Error kDamaged{"The private key file is damaged."};
const Error kWrongPassphrase{"The pass phrase doesn't open the private key."};

Result<PrivateKey> readRsa(ByteView bytes)
{
    DerReader numbers(DerReader(bytes).sequence());
    const ByteView version = numbers.integer();
    PrivateKey::RsaNumbers rsa;
    for (ByteView* number : {&rsa.n, &rsa.e, &rsa.d, &rsa.p, &rsa.q})
        *number = numbers.integer();
    if (!numbers.ok() || !version.empty())
        return kDamaged;
    return PrivateKey::fromRsa(rsa);
}

Result<PrivateKey> readDsa(ByteView bytes)
{
    DerReader numbers(DerReader(bytes).sequence());
    const ByteView version = numbers.integer();
    PrivateKey::DsaNumbers dsa;
    for (ByteView* number : {&dsa.p, &dsa.q, &dsa.g, &dsa.y, &dsa.x})
        *number = numbers.integer();
    if (!numbers.ok() || !version.empty())
        return kDamaged;
    return PrivateKey::fromDsa(dsa);
}

Result<PrivateKey> readOpenSshRsa(WireReader& reader)
{
    PrivateKey::RsaNumbers rsa;
    rsa.n = reader.mpint();
    rsa.e = reader.mpint();
    rsa.d = reader.mpint();
    reader.mpint(); // The coefficient is computed by fromRsa.
    rsa.p = reader.mpint();
    rsa.q = reader.mpint();
    return reader.ok() ? PrivateKey::fromRsa(rsa) : kDamaged;
}

Result<PrivateKey> readOpenSshDsa(WireReader& reader)
{
    PrivateKey::DsaNumbers dsa;
    for (ByteView* number : {&dsa.p, &dsa.q, &dsa.g, &dsa.y, &dsa.x})
        *number = reader.mpint();
    return reader.ok() ? PrivateKey::fromDsa(dsa) : kDamaged;
}

Result<PrivateKey> readOpenSshEcdsa(WireReader& reader, int bits)
{
    const std::string curve = reader.text();
    const ByteView point = reader.string();
    const ByteView scalar = reader.mpint();
    if (!reader.ok() || curve != "nistp" + std::to_string(bits))
        return kDamaged;
    return PrivateKey::fromEcdsa(bits, point, scalar);
}

Result<PrivateKey> readOpenSshEd25519(WireReader& reader)
{
    const ByteView point = reader.string();
    const ByteView secret = reader.string(); // The seed, then the public key again.
    if (!reader.ok() || secret.size() != 64 || !equal(secret.last(32), point))
        return kDamaged;
    return PrivateKey::fromEd25519(point, secret.first(32));
}

Result<PrivateKey> readPrivateSection(ByteView section)
{
    WireReader reader(section);
    const std::uint32_t check = reader.uint32();
    const bool same = check == reader.uint32();
    const std::string type = reader.text();
    if (!reader.ok() || !same)
        return kDamaged;
    Result<PrivateKey> key = Error{"A private key of type \"" + printable(type, 40) + "\" isn't understood."};
    const SignatureInfo* info = findSignature(type);
    if (info && info->keyType == info->name)
        key = info->family == SignatureFamily::Rsa   ? readOpenSshRsa(reader)
            : info->family == SignatureFamily::Dsa   ? readOpenSshDsa(reader)
            : info->family == SignatureFamily::Ecdsa ? readOpenSshEcdsa(reader, info->curveBits)
                                                     : readOpenSshEd25519(reader);
    if (!key.ok())
        return key;
    reader.string(); // The comment.
    std::uint8_t expected = 0; // The padding is 1, 2, 3 and so on.
    while (reader.remaining())
        if (reader.byte() != ++expected)
            return kDamaged;
    return reader.ok() ? std::move(key) : kDamaged;
}

// The outer form of an "OPENSSH PRIVATE KEY".
struct OpenSshFile {
    OpenSshEncryption encryption;
    ByteView publicBlob;
    ByteView section; // What may be encrypted.
    bool isEncrypted() const { return encryption.cipher != "none" || encryption.derivation != "none"; }
};

Result<OpenSshFile> parseOpenSsh(ByteView bytes)
{
    constexpr std::string_view kMagic("openssh-key-v1\0", 15);
    WireReader reader(bytes);
    if (textOf(reader.bytes(kMagic.size())) != kMagic)
        return kDamaged;
    OpenSshFile file;
    file.encryption.cipher = textOf(reader.string());
    file.encryption.derivation = textOf(reader.string());
    file.encryption.options = reader.string();
    const std::uint32_t count = reader.uint32();
    file.publicBlob = reader.string();
    file.section = reader.string();
    return reader.ok() && count == 1 ? Result<OpenSshFile>(file) : kDamaged;
}

// The two numbers at its beginning are equal, unless the passphrase is wrong.
bool isDecrypted(ByteView section)
{
    WireReader reader(section);
    const std::uint32_t check = reader.uint32();
    return check == reader.uint32() && reader.ok();
}

Result<PrivateKey> readOpenSsh(ByteView bytes, std::string_view passphrase)
{
    const auto file = parseOpenSsh(bytes);
    if (!file.ok())
        return file.error();
    Bytes decrypted;
    if (file->isEncrypted()) {
        auto section = decryptSection(file->encryption, file->section, passphrase);
        if (!section.ok())
            return section.error();
        if (!isDecrypted(*section))
            return kWrongPassphrase;
        decrypted = std::move(*section);
    }
    Result<PrivateKey> key = readPrivateSection(file->isEncrypted() ? ByteView(decrypted) : file->section);
    if (key.ok() && !equal(key->publicBlob(), file->publicBlob))
        return kDamaged;
    return key;
}

// The part of the text between the two marker lines of a form.
struct KeyText {
    enum class Form { Dsa, Rsa, OpenSsh };
    Form form;
    std::string_view body; // In base64, behind header lines.
    bool isEncryptedPem() const { return body.find("ENCRYPTED") != std::string_view::npos; }
};

Result<KeyText> findKey(std::string_view text)
{
    constexpr std::pair<std::string_view, KeyText::Form> kForms[] = {
        {"DSA PRIVATE KEY", KeyText::Form::Dsa},
        {"RSA PRIVATE KEY", KeyText::Form::Rsa},
        {"OPENSSH PRIVATE KEY", KeyText::Form::OpenSsh},
    };
    for (const auto& [label, form] : kForms) {
        const std::string begin = "-----BEGIN " + std::string(label) + "-----";
        const std::string end = "-----END " + std::string(label) + "-----";
        const auto from = text.find(begin);
        if (from == std::string_view::npos)
            continue;
        const std::string_view rest = text.substr(from + begin.size());
        const auto to = rest.find(end);
        if (to == std::string_view::npos)
            return Error{"The private key file ends before its last line."};
        return KeyText{form, rest.substr(0, to)};
    }
    return Error{"The file holds no private key in a form that is understood (DSA, RSA or OpenSSH)."};
}

// The bytes of the base64 part; PEM header lines ("Name: value") come before a blank line.
Result<Bytes> decodeBody(std::string_view body)
{
    if (body.find(':') != std::string_view::npos) {
        const auto blank = std::min(body.find("\n\n"), body.find("\n\r\n"));
        if (blank == std::string_view::npos)
            return kDamaged;
        body.remove_prefix(blank);
    }
    auto bytes = fromBase64(body);
    return bytes ? Result<Bytes>(std::move(*bytes)) : kDamaged;
}

Result<PrivateKey> readPem(const KeyText& key, ByteView bytes)
{
    return key.form == KeyText::Form::Dsa ? readDsa(bytes) : readRsa(bytes);
}

Result<PrivateKey> readEncryptedPem(const KeyText& key, ByteView bytes, std::string_view passphrase)
{
    constexpr std::string_view kInfo = "DEK-Info: ";
    const auto at = key.body.find(kInfo);
    if (at == std::string_view::npos)
        return kDamaged;
    std::string_view info = key.body.substr(at + kInfo.size());
    info = info.substr(0, info.find_first_of("\r\n"));
    const auto plain = decryptPem(info, bytes, passphrase);
    if (!plain.ok())
        return plain.error();
    auto read = readPem(key, *plain);
    return read.ok() ? std::move(read) : kWrongPassphrase; // Or damage: nothing tells them apart.
}

} // namespace

bool isEncryptedKey(std::string_view text)
{
    const auto key = findKey(text);
    if (!key.ok())
        return false;
    if (key->form != KeyText::Form::OpenSsh)
        return key->isEncryptedPem();
    const auto bytes = decodeBody(key->body);
    const auto file = bytes.ok() ? parseOpenSsh(*bytes) : Result<OpenSshFile>(bytes.error());
    return file.ok() && file->isEncrypted();
}

Result<PrivateKey> readKeyFile(std::string_view text, std::string_view passphrase)
{
    platform::setUpGcrypt();
    const auto key = findKey(text);
    if (!key.ok())
        return key.error();
    const Result<Bytes> bytes = decodeBody(key->body);
    if (!bytes.ok())
        return bytes.error();
    if (key->form == KeyText::Form::OpenSsh)
        return readOpenSsh(*bytes, passphrase);
    return key->isEncryptedPem() ? readEncryptedPem(*key, *bytes, passphrase) : readPem(*key, *bytes);
}

} // namespace ssh
