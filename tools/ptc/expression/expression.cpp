// Expression: evaluation by muParser, the only file that sees it.

#include "tools/ptc/expression/expression.h"

#include <fmt/format.h>
#include <muParser.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "ptc/format/normal_decode.h"
#include "tools/ptc/expression/expression_error.h"

namespace expression {

namespace {

// NaN is less and greater than nothing, so the first of the others is the answer, and NaN only when
// there is no other.
double Least(const double* values, int count) {
    double least = values[0];
    for (int i = 1; i < count; ++i)
        if (values[i] < least || std::isnan(least)) least = values[i];
    return least;
}

double Greatest(const double* values, int count) {
    double greatest = values[0];
    for (int i = 1; i < count; ++i)
        if (values[i] > greatest || std::isnan(greatest)) greatest = values[i];
    return greatest;
}

double Magnitude(double value) {
    return std::fabs(value);
}

double SquareRoot(double value) {
    return std::sqrt(value);
}

double Length(double x, double y, double z) {
    return std::sqrt(x * x + y * y + z * z);
}

double IsFinite(double value) {
    return std::isfinite(value) ? 1 : 0;
}

double Not(double condition) {
    return condition != 0 ? 0 : 1;
}

/// The library's own functions and constants go: they come from the C library and differ between
/// machines. Its optimiser goes, since it adds and multiplies in another order than is written.
void SetUp(mu::Parser& parser) {
    parser.ClearFun();
    parser.ClearConst();
    parser.ClearPostfixOprt();
    parser.EnableOptimizer(false);
    parser.DefineFun("min", Least);
    parser.DefineFun("max", Greatest);
    parser.DefineFun("abs", Magnitude);
    parser.DefineFun("sqrt", SquareRoot);
    parser.DefineFun("length", Length);
    parser.DefineFun("isfinite", IsFinite);
    parser.DefineFun("not", Not);
}

/// A field on its way to the value that the library reads.
struct Load {
    std::size_t source = 0;  ///< in the record in bytes, or in the normal in floats
    double* value = nullptr;
};

}  // namespace

struct Expression::State {
    Type type = Type::kNumber;
    std::vector<double> values;
    std::vector<Load> floats;
    std::vector<Load> normals;
    mu::Parser parser;
};

Expression::Expression(std::string_view text, const PointFields& fields, Lane lane)
    : state_(std::make_unique<State>()) {
    const ExpressionCode code = Translate(text, fields, lane);
    state_->type = code.type;
    state_->values.resize(code.fields.size());
    try {
        SetUp(state_->parser);
        for (std::size_t i = 0; i < code.fields.size(); ++i) {
            double* const value = &state_->values[i];
            state_->parser.DefineVar(fmt::format("v{}", i), value);
            const std::size_t field = code.fields[i];
            if (IsNormal(field)) {
                state_->normals.push_back({field - kNormalField, value});
            } else {
                state_->floats.push_back({RecordOffset(field), value});
            }
        }
        for (std::size_t i = 0; i < code.numbers.size(); ++i)
            state_->parser.DefineConst(fmt::format("c{}", i), code.numbers[i]);
        state_->parser.SetExpr(code.text);
        (void)state_->parser.Eval();  // builds what the later calls run
    } catch (const mu::ParserError& error) {
        // Translate() lets nothing through that the library refuses.
        throw ExpressionError(text, 0, "it cannot be evaluated: " + error.GetMsg());
    }
}

Expression::~Expression() = default;
Expression::Expression(Expression&& other) noexcept = default;
Expression& Expression::operator=(Expression&& other) noexcept = default;

double Expression::Of(const PointValues& point) {
    for (const Load& load : state_->floats) {
        float value = 0;
        std::memcpy(&value, point.record + load.source, sizeof value);
        *load.value = static_cast<double>(value);
    }
    if (!state_->normals.empty()) {
        float decoded[3];
        const float* normal = point.normal;
        if (!normal) {
            NormalCode code;
            std::memcpy(&code, point.record + Find(ptc_layout::kPoint, "azimuth").offset,
                        sizeof code);
            Normals().Decode(code, decoded);
            normal = decoded;
        }
        for (const Load& load : state_->normals)
            *load.value = static_cast<double>(normal[load.source]);
    }
    return state_->parser.Eval();
}

Type Expression::ResultType() const {
    return state_->type;
}

Condition::Condition(std::string_view text, const PointFields& fields) : expression_(text, fields) {
    if (expression_.ResultType() == Type::kNumber)
        throw ExpressionError(text, 0, "a condition is needed, and this is a number");
}

}  // namespace expression
