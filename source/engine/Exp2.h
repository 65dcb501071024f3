// SPDX-License-Identifier: AGPL-3.0-only
#pragma once

namespace varnel
{

/** Two to the power of x, rounded to the nearest float. C libraries differ in the last bit of theirs; this is the same
    everywhere.

    The method is that of P. T. P. Tang, "Table-driven implementation of the exponential function in IEEE floating-point
    arithmetic" (ACM TOMS 15/2, 1989): x is taken apart into a whole number of sixteenths and a rest of at most 1/32; a table
    has the power of the one, a polynomial gives that of the other. All of it is worked out in doubles, the table and the
    last sum in two each. Before it is rounded to a float, the result is off by less than 2^-56 of itself, and by less than
    2^-52 |x| where that is less and |x| is below 1/32. No power of a float comes as close to the middle between two floats
    (scripts/check-exp2.sh looks at them all), so all are rounded correctly.

    @param x  any number: what is too large for a float gives infinity, what is too small 0, and no number gives no number
*/
float exp2 (float x) noexcept;

} // namespace varnel
