#include "ssh/crypto/BcryptKdf.h"

#include "ssh/crypto/Crypto.h"
#include "ssh/crypto/Wire.h"

#include <algorithm>
#include <array>

namespace ssh {

namespace {

// Adds the arctangent of 1/x, times `factor`, to the fixed-point number `sum`: a whole word, then the words
// of the fraction. x squared must fit in 32 bits.
class FixedPoint {
public:
    explicit FixedPoint(std::size_t words) : words_(words) { }

    void addArctangent(std::uint32_t x, std::uint32_t factor, bool negative)
    {
        std::vector<std::uint32_t> power(words_.size());
        power[0] = factor;
        divide(power, x);
        for (std::uint32_t odd = 1; !isZero(power); odd += 2) {
            std::vector<std::uint32_t> term = power;
            divide(term, odd);
            add(term, negative != (odd % 4 == 3));
            divide(power, x * x);
        }
    }
    std::uint32_t word(std::size_t index) const { return words_[index]; }

private:
    static bool isZero(const std::vector<std::uint32_t>& number)
    {
        return std::all_of(number.begin(), number.end(), [](std::uint32_t word) { return word == 0; });
    }
    static void divide(std::vector<std::uint32_t>& number, std::uint32_t by)
    {
        std::uint64_t rest = 0;
        for (std::uint32_t& word : number) {
            if (rest == 0 && word == 0)
                continue;
            rest = rest << 32 | word;
            word = static_cast<std::uint32_t>(rest / by);
            rest %= by;
        }
    }
    void add(const std::vector<std::uint32_t>& number, bool negative)
    {
        std::uint64_t carry = 0;
        for (std::size_t i = words_.size(); i-- > 0;) {
            const std::uint64_t other = number[i] + carry;
            const std::uint64_t result = negative ? words_[i] - other : words_[i] + other;
            words_[i] = static_cast<std::uint32_t>(result);
            carry = result >> 32 ? 1 : 0;
        }
    }

    std::vector<std::uint32_t> words_;
};

constexpr std::size_t kSubkeys = 18;
constexpr std::size_t kBoxes = 4 * 256;

// The start of Blowfish: the first words of the fraction of pi, by Machin's formula.
const std::vector<std::uint32_t>& startWords()
{
    static const std::vector<std::uint32_t> words = [] {
        constexpr std::size_t kSpare = 3; // The whole part, and words that take the errors of rounding.
        FixedPoint pi(kSubkeys + kBoxes + kSpare);
        pi.addArctangent(5, 16, false);
        pi.addArctangent(239, 4, true);
        std::vector<std::uint32_t> fraction(kSubkeys + kBoxes);
        for (std::size_t i = 0; i < fraction.size(); ++i)
            fraction[i] = pi.word(i + 1);
        return fraction;
    }();
    return words;
}

// Takes big-endian words out of bytes, round and round.
class WordStream {
public:
    explicit WordStream(ByteView bytes) : bytes_(bytes) { }
    std::uint32_t next()
    {
        std::uint32_t word = 0;
        for (int i = 0; i < 4; ++i) {
            word = word << 8 | bytes_[at_];
            at_ = (at_ + 1) % bytes_.size();
        }
        return word;
    }

private:
    ByteView bytes_;
    std::size_t at_ = 0;
};

// Blowfish with the expensive key schedule of bcrypt.
class ExpensiveBlowfish {
public:
    ExpensiveBlowfish() : state_(startWords()) { }
    ~ExpensiveBlowfish() { wipe(state_.data(), state_.size() * sizeof state_[0]); }
    ExpensiveBlowfish(const ExpensiveBlowfish&) = delete;
    ExpensiveBlowfish& operator=(const ExpensiveBlowfish&) = delete;

    void expand(ByteView key, ByteView salt)
    {
        WordStream keyWords(key);
        for (std::size_t i = 0; i < kSubkeys; ++i)
            state_[i] ^= keyWords.next();
        constexpr std::array<std::uint8_t, 4> kNothing{};
        WordStream saltWords(salt.empty() ? ByteView(kNothing) : salt);
        std::uint32_t left = 0;
        std::uint32_t right = 0;
        for (std::size_t i = 0; i < state_.size(); i += 2) {
            left ^= saltWords.next();
            right ^= saltWords.next();
            encrypt(left, right);
            state_[i] = left;
            state_[i + 1] = right;
        }
    }
    void encrypt(std::uint32_t& left, std::uint32_t& right) const
    {
        for (std::size_t round = 0; round < 16; round += 2) {
            left ^= state_[round];
            right ^= mix(left) ^ state_[round + 1];
            left ^= mix(right);
        }
        const std::uint32_t other = right ^ state_[17];
        right = left ^ state_[16];
        left = other;
    }

private:
    std::uint32_t mix(std::uint32_t x) const
    {
        const std::uint32_t* box = state_.data() + kSubkeys;
        return ((box[x >> 24] + box[256 + (x >> 16 & 255)]) ^ box[512 + (x >> 8 & 255)])
            + box[768 + (x & 255)];
    }

    std::vector<std::uint32_t> state_; // The subkeys, then the four boxes.
};

constexpr std::size_t kHashSize = 32;

Bytes bcryptHash(ByteView passphrase, ByteView salt)
{
    ExpensiveBlowfish cipher;
    cipher.expand(passphrase, salt);
    for (int i = 0; i < 64; ++i) {
        cipher.expand(salt, {});
        cipher.expand(passphrase, {});
    }
    WordStream start(viewOf("OxychromaticBlowfishSwatDynamite"));
    Bytes result;
    for (std::size_t block = 0; block < kHashSize / 8; ++block) {
        std::uint32_t left = start.next();
        std::uint32_t right = start.next();
        for (int i = 0; i < 64; ++i)
            cipher.encrypt(left, right);
        for (const std::uint32_t word : {left, right})
            for (int shift = 0; shift < 32; shift += 8) // Little-endian.
                result.push_back(static_cast<std::uint8_t>(word >> shift));
    }
    return result;
}

} // namespace

Bytes bcryptKdf(ByteView passphrase, ByteView salt, std::size_t size, std::uint32_t rounds)
{
    if (passphrase.empty() || salt.empty() || rounds == 0)
        return {};
    const Bytes hashed = hash(GCRY_MD_SHA512, {passphrase});
    const std::size_t stride = (size + kHashSize - 1) / kHashSize; // Blocks, whose bytes are interleaved.
    Bytes key(size);
    for (std::size_t block = 0; block < stride; ++block) {
        const Bytes number = WireWriter().uint32(static_cast<std::uint32_t>(block + 1)).take();
        Bytes piece = bcryptHash(hashed, hash(GCRY_MD_SHA512, {salt, number}));
        Bytes sum = piece;
        for (std::uint32_t round = 1; round < rounds; ++round) {
            piece = bcryptHash(hashed, hash(GCRY_MD_SHA512, {piece}));
            std::transform(sum.begin(), sum.end(), piece.begin(), sum.begin(),
                [](std::uint8_t a, std::uint8_t b) { return static_cast<std::uint8_t>(a ^ b); });
        }
        for (std::size_t i = 0; i < kHashSize && i * stride + block < size; ++i)
            key[i * stride + block] = sum[i];
    }
    return key;
}

} // namespace ssh
