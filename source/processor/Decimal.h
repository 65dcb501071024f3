// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

#include <algorithm>
#include <charconv>
#include <locale>
#include <sstream>
#include <string>

namespace varnel
{

/** std::from_chars for a double, by hand where the standard library has it for whole numbers only, as Apple's does: the
    longest start that is a decimal, told from what follows, and rounded to the nearest double. Names of what is no number,
    "inf" for instance, are no decimals there.
    @returns where the decimal ends, and invalid_argument without one, result_out_of_range where no finite double is near
             or only 0 is; the value is then left alone */
inline std::from_chars_result readDecimal (const char* first, const char* last, double& value)
{
#if defined(__cpp_lib_to_chars) && ! defined(VARNEL_PLAIN_DECIMALS)
    return std::from_chars (first, last, value);
#else
    const auto digitsFrom = [last] (const char* at)
    {
        while (at != last && *at >= '0' && *at <= '9')
            ++at;

        return at;
    };

    const auto* const whole = first != last && *first == '-' ? first + 1 : first;
    const auto* end = digitsFrom (whole);
    auto numDigits = end - whole;

    if (end != last && *end == '.')
    {
        const auto* const fraction = end + 1;
        const auto* const endOfFraction = digitsFrom (fraction);
        numDigits += endOfFraction - fraction;
        end = numDigits > 0 ? endOfFraction : end;
    }

    if (numDigits == 0)
        return { first, std::errc::invalid_argument };

    if (end != last && (*end == 'e' || *end == 'E'))
    {
        const auto* const sign = end + 1;
        const auto* const exponent = sign != last && (*sign == '-' || *sign == '+') ? sign + 1 : sign;

        if (const auto* const endOfExponent = digitsFrom (exponent); endOfExponent != exponent)
            end = endOfExponent;
    }

    std::istringstream stream (std::string (first, end));
    stream.imbue (std::locale::classic());
    double read = 0.0;

    const auto isRead = static_cast<bool> (stream >> read);
    const auto* const mantissaEnd = std::find_if (first, end, [] (char c)
                                                  { return c == 'e' || c == 'E'; });
    const auto isZero = std::none_of (first, mantissaEnd, [] (char c)
                                      { return c >= '1' && c <= '9'; });

    if (! isRead || (read == 0.0 && ! isZero))
        return { end, std::errc::result_out_of_range };

    value = read;
    return { end, std::errc() };
#endif
}

} // namespace varnel
