// Numbers: as texts that people read, and back.
"use strict";

const Numbers = (() => {
    /// `digits` that count; powers of ten for what is very large or small.
    function text(value, digits) {
        if (!Number.isFinite(value)) return String(value);
        const short = Number(value.toPrecision(digits)), size = Math.abs(short);
        return size !== 0 && (size >= 1e7 || size < 1e-4)
            ? short.toExponential().replace("e+", "e") : String(short);
    }

    /// 1234567 as 1,234,567, in every country.
    const count = (value) => String(value).replace(/\B(?=(\d{3})+$)/g, ",");

    /// The number that a text is, or null. A decimal comma is understood.
    function parse(letters) {
        const trimmed = letters.trim().replace(",", ".").replace("−", "-");
        const value = trimmed === "" ? NaN : Number(trimmed);
        return Number.isFinite(value) && Math.abs(value) < 3e38 ? value : null;
    }

    /// A number between `low` and `high`, in as few digits as tell it from its neighbours.
    function tick(value, [low, high]) {
        return text(Math.abs(value) < (high - low) * 1e-9 ? 0 : value, 4);
    }

    return {text, count, parse, tick};
})();
