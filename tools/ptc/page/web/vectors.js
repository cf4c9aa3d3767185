// Vectors: arithmetic of places and directions [x, y, z], of linear forms of (p, 1) as four numbers
// and of matrices as sixteen, rows first; points are rows that are multiplied from the left.
"use strict";

const Vectors = (() => {
    const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
    const length = (a) => Math.hypot(a[0], a[1], a[2]);
    const add = (a, b) => [a[0] + b[0], a[1] + b[1], a[2] + b[2]];
    const subtract = (a, b) => [a[0] - b[0], a[1] - b[1], a[2] - b[2]];
    const times = (a, s) => a.map((value) => value * s);
    const cross = (a, b) => [
        a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
    const unit = (a) => times(a, 1 / length(a));

    /// A unit vector at right angles to `axis`, which is not null.
    function perpendicular(axis) {
        const [x, y, z] = axis.map(Math.abs);
        const other = x <= y && x <= z ? [1, 0, 0] : y <= z ? [0, 1, 0] : [0, 0, 1];
        return unit(cross(axis, other));
    }

    /// `v` turned by `angle` about the unit vector `axis`.
    function turned(v, axis, angle) {
        const cosine = Math.cos(angle), sine = Math.sin(angle);
        const along = times(axis, dot(axis, v) * (1 - cosine));
        return add(add(times(v, cosine), times(cross(axis, v), sine)), along);
    }

    // Linear forms of (p, 1).
    const formOf = (direction, constant) => [...direction, constant];
    const at = (form, p) => dot(form, p) + form[3];
    const sum = (f, g, scale = 1) => f.map((value, i) => value + g[i] * scale);

    const column = (matrix, i) => [matrix[i], matrix[4 + i], matrix[8 + i], matrix[12 + i]];
    const ofColumns = (...columns) =>
        [0, 1, 2, 3].flatMap((row) => columns.map((form) => form[row]));

    /// What first `change`, then `matrix` does.
    function product(change, matrix) {
        const result = [];
        for (let row = 0; row < 4; ++row)
            for (let i = 0; i < 4; ++i) {
                let value = 0;
                for (let k = 0; k < 4; ++k) value += change[4 * row + k] * matrix[4 * k + i];
                result.push(value);
            }
        return result;
    }

    /// The linear change whose images of x, y and z are `rows`, and that leaves `centre` in place.
    function changeAbout(rows, centre) {
        const image = [0, 1, 2].map((i) => rows.reduce((s, row, k) => s + centre[k] * row[i], 0));
        const shift = subtract(centre, image);
        return [...rows[0], 0, ...rows[1], 0, ...rows[2], 0, ...shift, 1];
    }
    const kAxes = [[1, 0, 0], [0, 1, 0], [0, 0, 1]];
    const turnAbout = (axis, angle, centre) =>
        changeAbout(kAxes.map((v) => turned(v, axis, angle)), centre);
    const growthAbout = (factor, centre) =>
        changeAbout(kAxes.map((v) => times(v, factor)), centre);
    const shiftBy = (v) => [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, ...v, 1];

    function determinant(m) {
        const minor = (i, j, k) => m[4 + i] * (m[8 + j] * m[12 + k] - m[8 + k] * m[12 + j]) -
            m[4 + j] * (m[8 + i] * m[12 + k] - m[8 + k] * m[12 + i]) +
            m[4 + k] * (m[8 + i] * m[12 + j] - m[8 + j] * m[12 + i]);
        return m[0] * minor(1, 2, 3) - m[1] * minor(0, 2, 3) + m[2] * minor(0, 1, 3) -
            m[3] * minor(0, 1, 2);
    }

    return {dot, length, add, subtract, times, cross, unit, perpendicular, turned, formOf, at, sum,
            column, ofColumns, product, turnAbout, growthAbout, shiftBy, determinant, kAxes};
})();
