#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

// Powers of ten as 128-bit floating point numbers, made at compile time. Inside of src/text/numbers.
namespace decimal {

__extension__ typedef unsigned __int128 Wide; // "using" doesn't take the mark of an extension.

constexpr int kLowestPower = -330;
constexpr int kHighestPower = 345;

// floor(log2(10^power)), and the other way round floor(log10(2^power)), for powers of ten and of two that a
// double can have: products with the logarithm in binary fixed point.
constexpr int binaryExponentOfTen(int power)
{
    return static_cast<int>((std::int64_t{power} * 1741647) >> 19);
}

constexpr int decimalExponentOfTwo(int power)
{
    return static_cast<int>((std::int64_t{power} * 315653) >> 20);
}

namespace tables {

// A non-negative number of many bits, the lowest first.
class BigNumber {
public:
    constexpr void setBit(std::size_t bit) { limbs_[bit / 32] |= std::uint32_t{1} << (bit % 32); }
    constexpr void multiplyByFive()
    {
        std::uint64_t carry = 0;
        for (std::uint32_t& limb : limbs_) {
            carry += std::uint64_t{limb} * 5;
            limb = static_cast<std::uint32_t>(carry);
            carry >>= 32;
        }
    }
    constexpr void divideByFive()
    {
        std::uint64_t rest = 0;
        for (std::size_t i = kLimbs; i-- > 0;) {
            rest = rest << 32 | limbs_[i];
            limbs_[i] = static_cast<std::uint32_t>(rest / 5);
            rest %= 5;
        }
    }
    // The highest 128 bits from the first that is set. The number must not be 0.
    constexpr Wide leadingBits() const
    {
        std::size_t top = kLimbs - 1;
        while (limbs_[top] == 0)
            --top;
        Wide bits = 0;
        for (std::size_t i = 0; i < 4; ++i)
            bits = bits << 32 | (top >= i ? limbs_[top - i] : 0);
        const int missing = std::countl_zero(limbs_[top]);
        const std::uint32_t next = top >= 4 ? limbs_[top - 4] : 0;
        return missing == 0 ? bits : bits << missing | next >> (32 - missing);
    }

    static constexpr std::size_t kLimbs = 30; // 5^345 has 802 bits, and 2^959 / 5^330 still has 192.

private:
    std::array<std::uint32_t, kLimbs> limbs_{};
};

// The leading bits of 10^power are those of 5^power.
constexpr auto kPowersOfTen = [] {
    std::array<Wide, kHighestPower - kLowestPower + 1> powers{};
    BigNumber number;
    number.setBit(0);
    for (std::size_t i = -kLowestPower; i < powers.size(); ++i, number.multiplyByFive())
        powers[i] = number.leadingBits();
    number = BigNumber();
    number.setBit(32 * BigNumber::kLimbs - 1); // Each division cuts what the next one wouldn't see either.
    for (std::size_t i = -kLowestPower; i-- > 0;) {
        number.divideByFive();
        powers[i] = number.leadingBits();
    }
    return powers;
}();

} // namespace tables

// Whether 5^power is an integer of at most 128 bits. All other powers are cut, not rounded.
constexpr bool isExact(int power)
{
    constexpr int kHighestExactPower = 55;
    return power >= 0 && power <= kHighestExactPower;
}

// 10^power / 2^(binaryExponentOfTen(power) - 127), cut to an integer: its highest bit is set.
constexpr Wide leadingBitsOfTen(int power)
{
    return tables::kPowersOfTen[static_cast<std::size_t>(power - kLowestPower)];
}

} // namespace decimal
