// Matrices of four rows: products, inverses, transformed points, a stack, printing.
//
// Units      16 values, row by row. A point is a row vector p and is transformed to p x M, so the
//            translation is in elements 12 to 14.
// Errors     each function says its own; none uses the message reporter.
// Ownership  callers own every matrix; the stack copies.
// Threads    any, except for the stack, the print format and reading: one thread at a time.
//
// A destination may be an operand or overlap one, with the same result to the bit: each function
// computes all elements before it stores any.

#pragma once

#include <span>
#include <string_view>

/// `out` = `a` x `b`; each element is summed in double and stored as float.
void MxMultiply(std::span<const float, 16> a, std::span<const float, 16> b,
                std::span<float, 16> out);

/// Makes `out` the inverse of `m`, unless `out` already holds one that is good enough or better.
///
/// The error of an inverse is the largest element off the diagonal of m x out. If it is at most
/// 0.0001, `out` stays and the result is 0. Otherwise the inverse is computed, and replaces `out`
/// if its error is smaller. If m x out holds a NaN, or its diagonal is zero to within 0.0001, the
/// error of `out` means nothing; then the computed inverse replaces it if it is finite.
///
/// Returns the condition number of `m`; infinity if `m` has no inverse. Above 1e8 a warning goes to
/// standard error, for the first 20 such calls of the process.
float MxInvert(std::span<const float, 16> m, std::span<float, 16> out);

/// `out` = the inverse of `m`. Returns the condition number, which is the largest singular value
/// divided by the smallest; infinity if the smallest is 0 or `m` is not finite, and `out` is all
/// NaN then.
double MxInvertDouble(std::span<const double, 16> m, std::span<double, 16> out);

/// `out` = the inverse of `m` by cofactors, computed in double and stored as float. Returns the
/// determinant. If it is 0, `out` holds infinities or NaNs.
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

/// Pushes `m` on the process's stack, which holds 32. Returns 0; or -1 when it is full, with
/// "Matrix stack overflow" on standard error.
[[nodiscard]] int MxPush(std::span<const float, 16> m);

/// Pops the top of the stack into `out`. Returns 0; or -1 when the stack is empty, with "Matrix
/// stack underflow" on standard error and `out` unchanged.
[[nodiscard]] int MxPop(std::span<float, 16> out);

/// Prints `m` on standard output, four values to a line, each with the print format.
void MxPrint(std::span<const float, 16> m);

/// Replaces the process's print format, which is "%18.14f " at first. `format` may hold any text
/// and must hold exactly one conversion: a, e, f or g, with at most three digits each for width
/// and precision. False, and nothing changes: it is something else or longer than 63 bytes.
[[nodiscard]] bool MxSetPrintFormat(std::string_view format);

/// Reads 16 values from standard input as scanf does for "%f", then one more character, the end of
/// the line. False: there are fewer; `out` is unchanged, and the input that was read is lost.
[[nodiscard]] bool MxRead(std::span<float, 16> out);
