// Camera: how the world lands in a view, and how hands move it.
//
// A camera is a matrix to normalised device coordinates, the shape of the frame that -1 to 1
// covers, and a pivot: the point of the world that it turns about. It may be any invertible matrix;
// moving the camera is moving the world before it. A move leaves the pivot's place in the view.
//
// Pixels are counted from a view's middle, to the right and upwards.
"use strict";

const Camera = (() => {
    const {dot, length, add, subtract, times, cross, unit, at, sum, column} = Vectors;

    const kDistance = 2.92;  // of a fitted camera, in half diagonals of the box
    const kFill = 0.96;      // how much of half a side the box takes
    const kSteepest = 89 * Math.PI / 180;

    /// The linear forms of a view `width` x `height` pixels large; tools/ptc/view/view_camera.h
    /// says what they mean.
    function rasterOf(camera, width, height) {
        const halfWidth = Math.min(width, height * camera.aspect) / 2;
        const w = column(camera.matrix, 3);
        const isPerspective = length(w) > 0;
        return {
            x: times(column(camera.matrix, 0), halfWidth),
            y: times(column(camera.matrix, 1), halfWidth / camera.aspect),
            w,
            near: isPerspective ? [0, 0, 0, 1] : times(column(camera.matrix, 2), -1),
            isPerspective,
        };
    }

    /// The raster with everything `dx` and `dy` pixels farther right and up.
    const shifted = (raster, dx, dy) =>
        ({...raster, x: sum(raster.x, raster.w, dx), y: sum(raster.y, raster.w, dy)});

    /// Where `p` lands, or null when it is not before the eye.
    function project(raster, p) {
        const depth = at(raster.w, p);
        return depth > 0 ? {x: at(raster.x, p) / depth, y: at(raster.y, p) / depth, depth} : null;
    }

    /// Steps in the world, at the depth of `p`, that lead one pixel to the right and one upwards.
    function stepsAt(raster, p) {
        const plane = raster.isPerspective ? raster.w : cross(raster.x, raster.y);
        const depth = at(raster.w, p);
        const right = cross(raster.y, plane), up = cross(plane, raster.x);
        return {right: times(right, depth / dot(right, raster.x)),
                up: times(up, depth / dot(up, raster.y))};
    }

    /// Unit vectors of the world: to the right, upwards and away from the eye.
    function axesOf(camera) {
        const raster = rasterOf(camera, 2, 2 / camera.aspect);
        const steps = stepsAt(raster, camera.pivot);
        const {isPerspective, w, near} = raster;
        const ahead = isPerspective ? w : cross(raster.x, raster.y);
        const sign = isPerspective || dot(ahead, near) <= 0 ? 1 : -1;
        return {right: unit(steps.right), up: unit(steps.up),
                ahead: times(unit(ahead.slice(0, 3)), sign)};
    }

    /// The world's axis that points upwards in the picture, more or less.
    function uprightAxis(camera) {
        const {up} = axesOf(camera);
        const most = [0, 1, 2].reduce((a, b) => Math.abs(up[b]) > Math.abs(up[a]) ? b : a);
        return times(Vectors.kAxes[most], up[most] < 0 ? -1 : 1);
    }

    const moved = (camera, change, pivot = camera.pivot) =>
        ({...camera, pivot, matrix: Vectors.product(change, camera.matrix)});

    /// Turned about `upright` and raised, so that what is before the pivot goes to the right by
    /// `turn` and upwards by `tilt`, in radians. Stops above and below the pivot.
    function orbited(camera, upright, turn, tilt) {
        const {right, up, ahead} = axesOf(camera);
        const back = times(ahead, -1);
        const hand = dot(cross(up, back), right) < 0 ? -1 : 1;
        const sign = hand * (dot(upright, up) < 0 ? -1 : 1);
        const tiltSign = dot(cross(right, back), up) < 0 ? -1 : 1;
        const heightAfter = (angle) =>
            Math.asin(Math.max(-1, Math.min(1, dot(upright,
                Vectors.turned(back, right, -angle * tiltSign)))));
        const height = heightAfter(0), after = heightAfter(tilt);
        const isBeyond = Math.abs(after) > kSteepest && Math.abs(after) >= Math.abs(height);
        const allowed = !isBeyond ? tilt
            : Math.sign(tilt) * Math.max(0, kSteepest - Math.abs(height));
        const change = Vectors.product(
            Vectors.turnAbout(upright, turn * sign, camera.pivot),
            Vectors.turnAbout(right, allowed * tiltSign, camera.pivot));
        return moved(camera, change);
    }

    /// The world shifted by so many pixels, at the pivot's depth.
    function panned(camera, raster, dx, dy) {
        const {right, up} = stepsAt(raster, camera.pivot);
        const shift = add(times(right, dx), times(up, dy));
        return moved(camera, Vectors.shiftBy(shift), subtract(camera.pivot, shift));
    }

    /// The world `factor` times as large, with `target` in its place.
    function zoomed(camera, factor, target) {
        const pivot = add(target, times(subtract(camera.pivot, target), 1 / factor));
        return moved(camera, Vectors.growthAbout(factor, target), pivot);
    }

    /// The point at the pivot's depth that is seen at pixel (`x`, `y`).
    function pointAt(camera, raster, x, y) {
        const {right, up} = stepsAt(raster, camera.pivot);
        const pivot = project(raster, camera.pivot);
        return add(camera.pivot, add(times(right, x - pivot.x), times(up, y - pivot.y)));
    }

    /// A camera in perspective that looks along `axes` and shows all of `box`, as large as possible
    /// in a view of any shape.
    function fitted(box, axes) {
        const middle = times(add(box.low, box.high), 0.5);
        const radius = length(subtract(box.high, box.low)) / 2;
        const along = (axis) => [...axis, -dot(axis, middle)];
        let x = along(axes.right), y = along(axes.up);
        const w = along(axes.ahead);
        w[3] += radius > 0 ? kDistance * radius : 1;

        const corners = [...Array(8).keys()].map((i) =>
            [0, 1, 2].map((axis) => (i >> axis & 1 ? box.high : box.low)[axis]));
        // Half of what is seen at depth 1; never nothing, even for a cloud seen along a line.
        const extent = (form) => {
            const places = corners.map((p) => at(form, p) / at(w, p));
            const low = Math.min(0, ...places), high = Math.max(0, ...places);
            return {middle: (low + high) / 2, half: Math.max((high - low) / 2, 0.001 / kDistance)};
        };
        const across = extent(x), upwards = extent(y);
        x = times(sum(x, w, -across.middle), kFill / across.half);
        y = times(sum(y, w, -upwards.middle), kFill / upwards.half);
        return {matrix: Vectors.ofColumns(x, y, [0, 0, 0, 1], w),
                aspect: across.half / upwards.half, pivot: middle};
    }

    /// The axes of a camera that is turned to the right and raised, in degrees.
    function axesTurned(turnDegrees, tiltDegrees) {
        const turn = turnDegrees * Math.PI / 180, tilt = tiltDegrees * Math.PI / 180;
        const [ct, st, ci, si] = [Math.cos(turn), Math.sin(turn), Math.cos(tilt), Math.sin(tilt)];
        return {right: [ct, 0, st], up: [-st * si, ci, ct * si], ahead: [-st * ci, -si, ct * ci]};
    }

    /// The camera of a file. It turns about what is in the middle of the picture, as far away as
    /// the points are that it sees, of which `places` are some.
    function ofFile(matrix, aspect, places) {
        const camera = {matrix: [...matrix], aspect, pivot: [0, 0, 0]};
        const raster = rasterOf(camera, 2 * aspect, 2);
        const isSeen = (place) => place && Math.abs(place.x) <= aspect && Math.abs(place.y) <= 1;
        const seen = places.filter((p) => isSeen(project(raster, p)));
        if (seen.length === 0) return null;
        const pivot = times(seen.reduce(add), 1 / seen.length);
        const centred = {...camera, pivot: pointAt({...camera, pivot}, raster, 0, 0)};
        return isSound(centred) ? centred : null;
    }

    function isSound(camera) {
        const determinant = Vectors.determinant(camera.matrix);
        return [...camera.matrix, ...camera.pivot, determinant].every(Number.isFinite) &&
            determinant !== 0 && camera.aspect >= 1e-3 && camera.aspect <= 1e3 &&
            at(column(camera.matrix, 3), camera.pivot) > 0;
    }

    return {rasterOf, shifted, project, stepsAt, axesOf, uprightAxis, orbited, panned, zoomed,
            pointAt, fitted, axesTurned, ofFile, isSound};
})();
