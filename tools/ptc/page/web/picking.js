// Picking: the nearest disc at a pixel, found among all points as the drawing would show them.
"use strict";

const Picking = (() => {
    const {dot, length, times, cross, at} = Vectors;

    const kReach = 4;  // pixels; a point is also found this near to it, when no disc is there

    /// The nearness of the disc at (`x`, `y`), or null where it does not cover it. These are the
    /// equations of shaders.js.
    function nearnessAt(raster, centre, normal, radius, x, y) {
        const w = at(raster.w, centre);
        const cx = at(raster.x, centre) / w, cy = at(raster.y, centre) / w;
        const along = (v, form, place) => dot(v, form) - place * dot(v, raster.w);
        const sight = () => cross(Vectors.sum(raster.x, raster.w, -cx),
                                  Vectors.sum(raster.y, raster.w, -cy));
        const axis = Vectors.unit(length(normal) > 0 ? normal : sight());
        const a = times(Vectors.perpendicular(axis), radius), b = cross(axis, a);
        const ax = along(a, raster.x, cx), bx = along(b, raster.x, cx);
        const ay = along(a, raster.y, cy), by = along(b, raster.y, cy);
        const aw = dot(a, raster.w), bw = dot(b, raster.w);
        const nearest = w - Math.hypot(aw, bw), near = at(raster.near, centre) / w;
        if (!(nearest > 0.01 * w)) return null;
        const dx = x - cx, dy = y - cy;
        if (Math.max(Math.hypot(ax, bx), Math.hypot(ay, by)) / nearest < Drawing.kDotRadius)
            return Math.hypot(dx, dy) <= Drawing.kDotRadius ? near : null;
        const determinant = ax * by - ay * bx;
        const u = (dx * by - dy * bx) / determinant, v = (dy * ax - dx * ay) / determinant;
        const t = (1 - aw * u - bw * v) / w, square = u * u + v * v;
        if (!(t > 0 && square <= t * t)) return null;
        const bend = 0.25 * radius * (length(raster.near) * w +
            length(raster.w) * Math.abs(raster.near[3])) / (w * w);
        return dot(a, raster.near) * u + dot(b, raster.near) * v + at(raster.near, centre) * t -
            bend * square / (t * t);
    }

    /// The number of the point that is seen at pixel (`x`, `y`) of a view, or -1.
    /// `half`: half the view's longer side; `shade`: the packed channel, whose fourth numbers say
    /// which points are shown.
    function pointAt(cloud, shade, raster, radiusScale, half, x, y) {
        const {halves, count} = cloud, radii = cloud.plane(5), table = Data.kHalves;
        const share = (form) => [form[0] * cloud.size[0] / 65535, form[1] * cloud.size[1] / 65535,
                                 form[2] * cloud.size[2] / 65535, at(form, cloud.low)];
        const [xx, xy, xz, xc] = share(raster.x), [yx, yy, yz, yc] = share(raster.y);
        const [wx, wy, wz, wc] = share(raster.w);
        const wideness = length(raster.w);
        const scale = radiusScale * cloud.about.largest_radius;
        const steepest = Math.max(length(raster.x), length(raster.y)) + wideness * half;
        let best = -1, bestNearness = -Infinity, closest = -1, least = kReach;
        for (let i = 0, k = 0; i < count; ++i, k += 3) {
            const px = halves[k], py = halves[k + 1], pz = halves[k + 2];
            const w = wx * px + wy * py + wz * pz + wc;
            if (!(w > 0)) continue;
            const dx = (xx * px + xy * py + xz * pz + xc) / w - x;
            const dy = (yx * px + yy * py + yz * pz + yc) / w - y;
            const radius = table[radii[i]] * scale;
            // No disc reaches farther; see tools/ptc/view/disc_batch.h.
            const reach = Math.max(kReach, 1.5 * radius * steepest / (w - radius * wideness));
            if (radius * wideness < w && (Math.abs(dx) > reach || Math.abs(dy) > reach)) continue;
            if (shade[4 * i + 3] === 0) continue;
            const nearness = nearnessAt(raster, cloud.position(i), cloud.normal(i), radius, x, y);
            if (nearness !== null && nearness > bestNearness) [best, bestNearness] = [i, nearness];
            const distance = Math.hypot(dx, dy);
            if (distance < least) [closest, least] = [i, distance];
        }
        return best >= 0 ? best : closest;
    }

    return {pointAt};
})();
