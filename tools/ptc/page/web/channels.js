// Channels: what can be shown of the clouds, and the numbers that the drawing gets of it.
//
// A channel has a name and a kind; light and directions are three floats, values are one, which goes
// through the colour map. Of several of one name the first counts, in the order variables, their
// floats, normal and radius. Two clouds share a channel when both have one of its name and kind.
"use strict";

const Channels = (() => {
    /// As the shaders number them. "none" is what a cloud without the channel gets.
    const kKinds = {light: 0, value: 1, direction: 2, normal: 3, none: 4};
    const kRadiusPlane = 5;
    const kFloats = {light: 3, value: 1, direction: 3};

    function channelsOf(cloud) {
        const list = [];
        const put = (name, kind, planes, scale, group, range) =>
            list.push({name, kind, group, data: {planes, scale, range}});
        for (const variable of cloud.variables) {
            const floats = variable.components.length;
            if (kFloats[variable.kind] !== floats) continue;
            const planes = variable.components.map((_, i) => variable.first + i);
            put(variable.name, variable.kind, planes, variable.scale, "Variables", variable.range);
        }
        for (const variable of cloud.variables) {
            const isShown = variable.kind === "value" && variable.components.length === 1;
            variable.components.forEach((name, i) => {
                if (!isShown) put(name, "value", [variable.first + i], [variable.scale[i]], "Floats");
            });
        }
        put("normal", "normal", [], [], "Points");
        put("radius", "value", [kRadiusPlane], [cloud.about.largest_radius], "Points");
        return list;
    }

    /// All channels of the clouds. `data`: for each cloud its planes and scales, or null.
    function listOf(clouds) {
        const list = [];
        clouds.forEach((cloud, number) => {
            for (const {name, kind, group, data} of channelsOf(cloud)) {
                let channel = list.find((other) => other.name === name);
                if (!channel) {
                    channel = {name, kind, group, data: clouds.map(() => null)};
                    list.push(channel);
                }
                if (channel.kind === kind && !channel.data[number]) channel.data[number] = data;
            }
        });
        const groups = ["Variables", "Floats", "Points"];
        return groups.flatMap((group) => list.filter((channel) => channel.group === group));
    }

    /// The least of 1, 2, 5, 10 ... and of tenths, hundredths ... that is not below `least`.
    function roundStep(least) {
        const power = 10 ** Math.floor(Math.log10(least));
        return power * ([1, 2, 5].find((step) => least <= step * power) ?? 10);
    }

    /// All but the outermost hundredth of the values at either end, rounded outwards: as
    /// tools/ptc/view/value_sample.cpp does it.
    function robustRange(values) {
        if (values.length === 0) return [0, 1];
        const sorted = Float64Array.from(values).sort();
        const cut = Math.floor(sorted.length / 100), last = sorted.length - 1;
        let [low, high] = [sorted[cut], sorted[last - cut]];
        if (low === high) [low, high] = [sorted[0], sorted[last]];
        if (low === high) {
            const reach = low === 0 ? 0.5 : Math.abs(low) / 2;
            [low, high] = [low - reach, high + reach];
        }
        const step = roundStep((high - low) / 20);
        const round = [Math.floor(low / step) * step, Math.ceil(high / step) * step];
        return round.every(Number.isFinite) && round[0] < round[1] ? round : [low, high];
    }

    function sampledRange(cloud, {planes, scale}) {
        const plane = cloud.plane(planes[0]), values = [];
        const stride = Math.ceil(plane.length / 65536);
        for (let i = 0; i < plane.length; i += stride) {
            const value = Data.kHalves[plane[i]] * scale[0];
            if (Number.isFinite(value)) values.push(value);
        }
        return robustRange(values);
    }

    /// The values at the ends of the colours when nothing else is asked for: for all clouds.
    function usualRange(clouds, channel) {
        if (channel.kind !== "value") return [0, 1];
        const ranges = channel.data.flatMap((data, i) => data
            ? [Data.isNumbers(data.range, 2) && data.range[0] < data.range[1] ? data.range
                : sampledRange(clouds[i], data)] : []);
        return [Math.min(...ranges.map((range) => range[0])),
                Math.max(...ranges.map((range) => range[1]))];
    }

    /// Four halves for each point: the floats of `data`, and last 1, or 0 where one is not finite.
    function packed(cloud, data) {
        const shade = new Uint16Array(4 * cloud.count);
        const kOne = 0x3C00;
        for (let i = 0; i < cloud.count; ++i) shade[4 * i + 3] = kOne;
        (data ? data.planes : []).forEach((number, part) => {
            const plane = cloud.plane(number);
            for (let i = 0; i < cloud.count; ++i) {
                const bits = plane[i];
                shade[4 * i + part] = bits;
                if (!Data.isFiniteHalf(bits)) shade[4 * i + 3] = 0;
            }
        });
        return shade;
    }

    return {kKinds, listOf, usualRange, packed};
})();
