// Data: the clouds of the page, decoded from its text.
//
// Every number of a cloud's planes has 16 bits, so that one array of them holds all: positions,
// normals, radii, and then each float of each variable. Their bytes come low one first, as those of
// all machines that browsers run on.
"use strict";

const Data = (() => {
    /// What is wrong with the page's data, for the reader of the page.
    class Damage extends Error {}

    /// The number that each half float is.
    const kHalves = (() => {
        const table = new Float32Array(65536);
        for (let bits = 0; bits < 65536; ++bits) {
            const exponent = bits >> 10 & 31, fraction = bits & 1023;
            const size = exponent === 31 ? (fraction ? NaN : Infinity)
                : exponent ? 2 ** (exponent - 15) * (1 + fraction / 1024) : 2 ** -24 * fraction;
            table[bits] = bits >> 15 ? -size : size;
        }
        return table;
    })();
    const isFiniteHalf = (bits) => (bits & 0x7C00) !== 0x7C00;

    const element = (id) => document.getElementById(id);
    const isNumbers = (value, count) => Array.isArray(value) && value.length === count &&
        value.every((number) => Number.isFinite(number));

    function readDescription() {
        if (!element("page")) throw new Damage("it holds no point cloud");
        let page;
        try {
            page = JSON.parse(element("page").textContent);
        } catch {
            throw new Damage("its description cannot be read");
        }
        if (!Array.isArray(page?.clouds) || page.clouds.length < 1 || page.clouds.length > 2 ||
            !/^([0-9a-f]{6}){256}$/i.test(page.colour_map))
            throw new Damage("its description is not complete");
        return page;
    }

    /// Room for `size` bytes. Throws what the reader of the page is told when there is none.
    function bytesFor(size) {
        try {
            return new Uint8Array(size);
        } catch {
            throw new Error("The points of this page take more memory than the browser gives.");
        }
    }

    /// Bytes of a text, a part at a time, so that no second copy of the whole text is made.
    function decodeBase64(text) {
        const kPart = 1 << 20;  // letters; whole groups of four
        const trimmed = text.trim();
        const padding = trimmed.endsWith("==") ? 2 : trimmed.endsWith("=") ? 1 : 0;
        if (trimmed.length % 4 !== 0) throw new Damage("its points are cut off");
        const bytes = bytesFor(trimmed.length / 4 * 3 - padding);
        let used = 0;
        for (let start = 0; start < trimmed.length; start += kPart) {
            let part;
            try {
                part = atob(trimmed.slice(start, start + kPart));
            } catch {
                throw new Damage("its points have letters that do not belong there");
            }
            for (let i = 0; i < part.length; ++i) bytes[used++] = part.charCodeAt(i);
        }
        if (used !== bytes.length) throw new Damage("its points are cut off");
        return bytes;
    }

    /// Puts what the stream becomes into `whole` from `used` on, and answers where it ends. Never
    /// takes more than there is room for.
    async function inflate(bytes, whole, used) {
        const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate"));
        const reader = stream.getReader();
        try {
            for (;;) {
                const {done, value} = await reader.read();
                if (done) break;
                if (used + value.length > whole.length)
                    throw new Damage("it has more points than it says");
                whole.set(value, used);
                used += value.length;
            }
        } catch (fault) {
            throw fault instanceof Damage ? fault : new Damage("its points cannot be unpacked");
        }
        return used;
    }

    const countFloats = (variables) =>
        variables.reduce((sum, variable) => sum + variable.components.length, 0);

    function checkDescription(about) {
        const isSound = typeof about?.name === "string" && Number.isInteger(about.shown) &&
            about.shown > 0 && isNumbers(about.low, 3) && isNumbers(about.high, 3) &&
            Number.isFinite(about.largest_radius) && about.largest_radius >= 0 &&
            Array.isArray(about.variables) &&
            about.variables.every((variable) => typeof variable?.name === "string" &&
                Array.isArray(variable.components) &&
                isNumbers(variable.scale, variable.components.length));
        if (!isSound) throw new Damage("its description is not complete");
        if (about.bytes !== about.shown * 2 * (6 + countFloats(about.variables)))
            throw new Damage("its sizes do not agree");
    }

    /// A cloud: what the page says about it, and its numbers.
    class Cloud {
        constructor(about, buffer) {
            this.about = about;
            this.count = about.shown;
            this.halves = new Uint16Array(buffer);
            this.low = about.low;
            this.size = Vectors.subtract(about.high, about.low);
            let plane = 6;
            this.variables = about.variables.map((variable) => {
                const first = plane;
                plane += variable.components.length;
                return {...variable, first};
            });
        }

        position(i) {
            return [0, 1, 2].map((axis) => this.low[axis] +
                this.size[axis] * this.halves[3 * i + axis] / 65535);
        }

        /// The null vector where the point has none.
        normal(i) {
            const at = 3 * this.count + 2 * i;
            const azimuth = this.halves[at], height = this.halves[at + 1];
            if (azimuth === 0xFFFF && height === 0xFFFF) return [0, 0, 0];
            const z = height / 65535 * 2 - 1, angle = (azimuth / 65535 - 0.5) * 2 * Math.PI;
            const s = Math.sqrt(Math.max(0, 1 - z * z));
            return [Math.cos(angle) * s, Math.sin(angle) * s, z];
        }

        radius(i) {
            return kHalves[this.halves[5 * this.count + i]] * this.about.largest_radius;
        }

        /// The halves of one plane: 5 has the radii, those from 6 on the variables' floats.
        plane(number) {
            return this.halves.subarray(number * this.count, (number + 1) * this.count);
        }

        /// A box around the spheres of all points.
        box() {
            const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity];
            const radii = this.plane(5);
            for (let axis = 0; axis < 3; ++axis) {
                const step = this.size[axis] / 65535;
                for (let i = 0; i < this.count; ++i) {
                    const place = this.halves[3 * i + axis] * step;
                    const radius = kHalves[radii[i]] * this.about.largest_radius;
                    if (place - radius < low[axis]) low[axis] = place - radius;
                    if (place + radius > high[axis]) high[axis] = place + radius;
                }
            }
            return {low: Vectors.add(low, this.low), high: Vectors.add(high, this.low)};
        }
    }

    /// Cloud `i` of the page. Its texts are dropped, so that they do not take memory any more.
    async function readCloud(page, i) {
        const about = page.clouds[i];
        checkDescription(about);
        const whole = bytesFor(about.bytes);
        let used = 0;
        for (const text of document.querySelectorAll(".points-" + i)) {
            const bytes = decodeBase64(text.textContent);
            text.remove();
            used = await inflate(bytes, whole, used);
        }
        if (used !== whole.length) throw new Damage("it has fewer points than it says");
        return new Cloud(about, whole.buffer);
    }

    return {Damage, kHalves, isFiniteHalf, readDescription, readCloud, isNumbers};
})();
