// Channels: what can be shown of the clouds, and the numbers that the drawing gets of it.
//
// A channel has a name and a kind; light and directions are three floats, values are one, which
// goes through the colour map. Of several of one name the first counts, in the order variables,
// their floats, normal and radius. Two clouds share a channel when both have one of its name and
// kind.
"use strict";

const Channels = (() => {
    /// As the shaders number them. "none" is what a cloud without the channel gets.
    const kKinds = {light: 0, value: 1, direction: 2, normal: 3, none: 4};
    const kRadiusPlane = 5;
    const kFloats = {light: 3, value: 1, direction: 3};

    function channelsOf(cloud) {
        const list = [];
        const put = (name, kind, group, data) => list.push({name, kind, group, data});
        for (const {name, kind, components, first, scale, range} of cloud.variables) {
            const planes = components.map((_, i) => first + i);
            if (kFloats[kind] === components.length)
                put(name, kind, "Variables", {planes, scale, range});
        }
        for (const {kind, components, first, scale, ranges} of cloud.variables) {
            if (kind === "value" && components.length === 1) continue;
            components.forEach((name, i) => put(name, "value", "Floats",
                {planes: [first + i], scale: [scale[i]], range: ranges?.[i]}));
        }
        const {largest_radius, radius_range} = cloud.about;
        put("normal", "normal", "Points", {planes: [], scale: []});
        put("radius", "value", "Points",
            {planes: [kRadiusPlane], scale: [largest_radius], range: radius_range});
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

    /// The values at the ends of the colours when nothing else is asked for: for all clouds.
    function usualRange(channel) {
        if (channel.kind !== "value") return [0, 1];
        const ranges = channel.data.filter((data) => data !== null).map(({range}) =>
            Data.isNumbers(range, 2) && range[0] < range[1] ? range : [0, 1]);
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
