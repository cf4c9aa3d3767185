// Scene: what is shown and how, of one cloud or two, and the views that show it.
"use strict";

const Scene = (() => {
    class Scene {
        constructor(page, clouds, painter) {
            this.page = page;
            this.clouds = clouds;
            this.painter = painter;
            this.views = clouds.map((cloud) =>
                ({points: painter.upload(cloud), box: cloud.box(), width: 0, height: 0}));
            this.channels = Channels.listOf(clouds);
            this.ranges = new Map();  // those asked for, by channel
            this.usual = new Map();   // those computed, likewise
            this.box = this.views.map((view) => view.box).reduce((a, b) => ({
                low: a.low.map((value, i) => Math.min(value, b.low[i])),
                high: a.high.map((value, i) => Math.max(value, b.high[i]))}));
            this.home = this.homeCamera();
            this.camera = this.home;
            this.upright = Camera.uprightAxis(this.home);
            const first = this.channelNumbered(page.variable);
            this.initial = {
                channel: first >= 0 ? first : 0,
                exposure: Number.isFinite(page.exposure) ? page.exposure : 0,
                size: page.point_scale > 0 ? page.point_scale : 1,
            };
            if (Data.isNumbers(page.range, 2) && page.range[0] < page.range[1])
                this.usual.set(this.channels[this.initial.channel], page.range);
            Object.assign(this, {exposure: this.initial.exposure, size: this.initial.size});
            this.show(this.initial.channel);
        }

        /// The first cloud's own camera, or one that sees everything.
        homeCamera() {
            const about = this.clouds[0].about, matrix = about.world_to_ndc;
            const places = [];
            for (let i = 0; i < Math.min(this.clouds[0].count, 5000); ++i)
                places.push(this.clouds[0].position(i));
            const camera = Data.isNumbers(matrix, 16) && about.aspect > 0
                ? Camera.ofFile(matrix, about.aspect, places) : null;
            this.hasFileCamera = camera !== null;
            return camera ?? Camera.fitted(this.box, Camera.axesTurned(30, 20));
        }

        channelNumbered(name) { return this.channels.findIndex((other) => other.name === name); }
        get channel() { return this.channels[this.channelNumber]; }

        show(number) {
            this.channelNumber = number;
            this.shades = this.views.map(({points}, i) => {
                const shade = Channels.packed(points.cloud, this.channel.data[i]);
                this.painter.setShade(points, shade);
                return shade;
            });
        }

        usualRange() {
            if (!this.usual.has(this.channel))
                this.usual.set(this.channel, Channels.usualRange(this.channel));
            return this.usual.get(this.channel);
        }
        range() { return this.ranges.get(this.channel) ?? this.usualRange(); }

        /// Null: the usual one.
        setRange(range) {
            if (range) this.ranges.set(this.channel, range);
            else this.ranges.delete(this.channel);
        }

        /// What Frames asks for.
        rasterOf(view) { return Camera.rasterOf(this.camera, view.width, view.height); }

        lookOf(view) {
            const data = this.channel.data[this.views.indexOf(view)];
            const scale = data?.scale ?? [];
            return {
                kind: Channels.kKinds[data ? this.channel.kind : "none"],
                scale: [0, 1, 2].map((i) => scale[i] ?? 1),
                range: this.range(),
                gain: 2 ** this.exposure,
                radiusScale: this.size,
                pivot: this.camera.pivot,
            };
        }

        /// Red, green and blue from 0 to 1: as asked for, else the theme's.
        background() {
            const asked = /^#([0-9a-f]{6})$/i.exec(this.page.background ?? "")?.[1];
            const theme = getComputedStyle(document.documentElement)
                .getPropertyValue("--behind").trim().slice(1);
            return [0, 2, 4].map((i) => parseInt((asked ?? theme).slice(i, i + 2), 16) / 255);
        }

        /// Divides a canvas of so many pixels among the views. Two are side by side, or one above
        /// the other where that leaves them more room.
        layOut(width, height) {
            const count = this.views.length, isWide = width >= height;
            this.views.forEach((view, i) => {
                const across = isWide ? Math.floor(width / count) : width;
                const down = isWide ? height : Math.floor(height / count);
                const isChanged = view.width !== across || view.height !== down;
                Object.assign(view, {width: across, height: down, x: isWide ? i * across : 0,
                                     y: isWide ? 0 : (count - 1 - i) * down});
                if (isChanged) this.painter.fitTargets(view);
            });
            return isWide;
        }

        /// The view at a pixel of the canvas, counted from its lower left corner, and the place
        /// from the view's middle.
        viewAt(x, y) {
            const inside = (view) => x >= view.x && x < view.x + view.width && y >= view.y &&
                y < view.y + view.height;
            const number = Math.max(0, this.views.findIndex(inside)), view = this.views[number];
            return {number, view, x: x - view.x - view.width / 2, y: y - view.y - view.height / 2,
                    raster: this.rasterOf(view)};
        }

        /// The point seen at a place that viewAt() gave, or -1.
        pointAt({number, view, x, y, raster}) {
            return Picking.pointAt(this.clouds[number], this.shades[number], raster, this.size,
                                   Math.max(view.width, view.height) / 2, x, y);
        }

        /// How narrow a view may become, in the world, at the depth of point `i` of a cloud, or at
        /// that of none where `i` is -1.
        leastWidth(number, i) {
            const across = Vectors.length(Vectors.subtract(this.box.high, this.box.low));
            const radius = i < 0 ? 0 : this.size * this.clouds[number].radius(i);
            return Math.max(across * 1e-6, 3 * radius);
        }

        /// What differs from how the page begins, for the link.
        difference() {
            return {
                show: this.channelNumber !== this.initial.channel ? this.channel.name : null,
                range: this.ranges.get(this.channel),
                exposure: this.exposure !== this.initial.exposure ? this.exposure : null,
                size: this.size !== this.initial.size ? this.size : null,
                camera: this.camera !== this.home ? this.camera : null,
            };
        }

        /// Shows what a link says, and for the rest how the page begins.
        restore(state) {
            const number = this.channelNumbered(state.show);
            this.show(number >= 0 ? number : this.initial.channel);
            this.ranges.clear();
            this.setRange(this.channel.kind === "value" ? state.range : null);
            this.exposure = state.exposure ?? this.initial.exposure;
            this.size = state.size ?? this.initial.size;
            this.camera = state.camera ?? this.home;
        }
    }

    return {Scene};
})();
