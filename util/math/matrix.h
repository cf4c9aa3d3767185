// Matrices of four rows: products, inverses, transformed points, a stack, printing.
//
// Units      16 values, row by row; a point is a row vector p, moved by p x M, so that the
//            translation is in the elements 12 to 14.
// Errors     told by each function; none reports through the message reporter.
// Ownership  callers own every matrix; what goes on the stack is copied.
// Threads    any, but for the stack, the print format and reading: one thread at a time.
//
// A destination may be an operand, or overlap one: the result is the same to the bit, because
// nothing is stored before everything is computed.

#pragma once

#include <span>
#include <string_view>

/// `out` = `a` x `b`; each element is summed in double and stored as float.
void MxMultiply(std::span<const float, 16> a, std::span<const float, 16> b,
                std::span<float, 16> out);

/// Makes `out` the inverse of `m`, unless what it holds already is that or is the better one.
///
/// The measure of an inverse is the largest element off the diagonal of m x out. At most 0.0001:
/// `out` stays and the answer is 0. Otherwise a computed inverse replaces `out` when its measure
/// is smaller; where m x out is no measure at all, because it holds a NaN or its diagonal is zero
/// to within 0.0001, the computed inverse replaces `out` when all of it is finite.
///
/// The answer is then the condition number of `m`; above 1e8 a warning goes to standard error,
/// for the first 20 such calls of the process. Infinity says that `m` has no inverse.
float MxInvert(std::span<const float, 16> m, std::span<float, 16> out);

/// `out` = the inverse of `m`; the answer is the condition number, largest singular value over
/// smallest. Infinity when the smallest is 0 or `m` is not finite; `out` is all NaN then.
double MxInvertDouble(std::span<const double, 16> m, std::span<double, 16> out);

/// `out` = the inverse of `m` by cofactors, computed in double and stored as float; the answer is
/// the determinant. A determinant of 0 is not caught: `out` then holds infinities or NaNs.
float MxCofactorInvert(std::span<const float, 16> m, std::span<float, 16> out);

/// The determinant by cofactors, computed in double.
float MxDeterminant(std::span<const float, 16> m);

/// `out` = `p` x `m`, then divided by its w, which becomes 1; not divided when w is 0.
void MxTransformPoint(std::span<const float, 4> p, std::span<float, 4> out,
                      std::span<const float, 16> m);

/// `out` = `p` x `m`, summed in double and stored as float; nothing is divided.
void MxTransform4(std::span<const float, 4> p, std::span<float, 4> out,
                  std::span<const float, 16> m);

/// `out` = `a` + (`b` - `a`) x `t`, element by element, in float.
void MxLerp(std::span<const float, 16> a, std::span<const float, 16> b, std::span<float, 16> out,
            float t);

/// Puts `m` on the process's stack of 32. 0, or -1 with "Matrix stack overflow" on standard error
/// when it is full.
[[nodiscard]] int MxPush(std::span<const float, 16> m);

/// Takes the top of the stack off into `out`. 0, or -1 with "Matrix stack underflow" on standard
/// error when the stack is empty; `out` is untouched then.
[[nodiscard]] int MxPop(std::span<float, 16> out);

/// Prints `m` on standard output, four values to a row, each through the print format.
void MxPrint(std::span<const float, 16> m);

/// Replaces the print format, "%18.14f " at first, for the whole process. It may hold any text
/// and exactly one conversion, of a, e, f or g, of at most three digits each before and behind the
/// point. False, and nothing changes: the text is something else, or longer than 63 bytes.
[[nodiscard]] bool MxSetPrintFormat(std::string_view format);

/// Reads 16 values from standard input, as scanf reads "%f", then takes one more character: the
/// end of the line. False: there are fewer; `out` is untouched, and what was read is gone.
[[nodiscard]] bool MxRead(std::span<float, 16> out);
