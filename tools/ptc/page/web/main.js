// Main: from the page's data to a picture that hands can move.
"use strict";

(() => {
    const element = (id) => document.getElementById(id);
    const root = document.documentElement;

    const kTurn = Math.PI / 500;    // of a pixel's drag
    const kKeyTurn = Math.PI / 24;
    const kKeyPan = 40;             // pixels
    const kKeyZoom = 1.25;
    const kSameTarget = 300;        // milliseconds during which a zoom goes on to the same point
    const kLinkRest = 250;          // milliseconds without a change; then the link is written

    /// data-state: loading, moving, refining (all points are seen), still, or failed.
    const setState = (state) => { root.dataset.state = state; };

    function fail(fault) {
        setState("failed");
        element("message-text").textContent = fault instanceof Data.Damage
            ? `This page is damaged: ${fault.message}.` : fault.message;
        element("message").setAttribute("role", "alert");
    }

    class Viewer {
        constructor(page, clouds) {
            this.canvas = element("canvas");
            this.painter = new Drawing.Painter(this.canvas, page.colour_map);
            this.scene = new Scene.Scene(page, clouds, this.painter);
            this.frames = new Frames.Frames(this.painter, this.scene, (state) => {
                setState(state);
                if (state !== "moving") this.readOut();
            });
            this.pointer = null;
            Panel.fillHeader(clouds, page);
            Panel.fillCaptions(clouds);
            Panel.fillChannels(this.scene.channels);
            Panel.drawBar(page.colour_map);
            if (!this.scene.hasFileCamera) {
                element("home").textContent = "First view";
                element("home-key").textContent = "back to the first view";
            }
        }

        /// Everything follows the scene.
        changed() {
            const {scene} = this;
            Panel.update({
                channel: scene.channel, channelNumber: scene.channelNumber, range: scene.range(),
                exposure: scene.exposure, size: scene.size,
                missing: scene.channel.data.map((data) => data === null),
                isUsualRange: !scene.ranges.has(scene.channel),
            });
            this.moved();
        }

        /// As changed(), when only the camera has.
        moved() {
            Readout.hide();
            this.frames.change();
            clearTimeout(this.linking);
            this.linking = setTimeout(() => this.writeLink(), kLinkRest);
        }

        writeLink() {
            clearTimeout(this.linking);
            this.written = Link.encode(this.scene.difference());
            if (location.hash.replace(/^#/, "") === this.written) return;
            history.replaceState(null, "", this.written ? "#" + this.written
                : location.href.replace(/#.*/, ""));
        }

        readLink() {
            const fragment = location.hash.replace(/^#/, "");
            if (fragment === this.written) return;
            this.scene.restore(Link.decode(fragment));
            this.changed();
        }

        resize() {
            const box = this.canvas.getBoundingClientRect(), ratio = window.devicePixelRatio || 1;
            const [width, height] = [box.width, box.height].map((side) =>
                Math.max(2, Math.min(this.painter.mostSide, Math.round(side * ratio))));
            if (this.canvas.width !== width) this.canvas.width = width;
            if (this.canvas.height !== height) this.canvas.height = height;
            this.ratio = width / Math.max(box.width, 1);
            const isWide = this.scene.layOut(width, height);
            element("captions").className = isWide ? "beside" : "stacked";
            this.frames.change();
        }

        /// The view at a place in CSS pixels from the canvas's upper left corner.
        viewAt(x, y) {
            return this.scene.viewAt(x * this.ratio, this.canvas.height - y * this.ratio);
        }
        middle() {
            const {x, y, width, height} = this.scene.views[0];
            return [(x + width / 2) / this.ratio,
                    (this.canvas.height - y - height / 2) / this.ratio];
        }

        setCamera(camera) {
            if (!Camera.isSound(camera)) return;
            this.scene.camera = camera;
            this.moved();
        }
        orbit(turn, tilt) {
            this.setCamera(Camera.orbited(this.scene.camera, this.scene.upright, turn, tilt));
        }
        pan(dx, dy) {
            const {raster} = this.viewAt(...this.middle());
            this.setCamera(Camera.panned(this.scene.camera, raster, dx * this.ratio,
                                         -dy * this.ratio));
        }

        /// Goes on to what is under the pointer, where nothing is to the pivot's depth. Stops
        /// before a disc that fills the view: nearer, it would reach the eye and vanish.
        zoom(factor, x, y) {
            const there = this.viewAt(x, y), now = performance.now();
            if (!this.target || now - this.target.time > kSameTarget ||
                Math.hypot(this.target.x - x, this.target.y - y) > 2) {
                const point = this.scene.pointAt(there);
                const place = point >= 0 ? this.scene.clouds[there.number].position(point)
                    : Camera.pointAt(this.scene.camera, there.raster, there.x, there.y);
                this.target = {place, least: this.scene.leastWidth(there.number, point)};
            }
            Object.assign(this.target, {x, y, time: now});
            const {right} = Camera.stepsAt(there.raster, this.target.place);
            const length = Vectors.length(right) * there.view.width;
            if (factor > 1 && !(length > this.target.least)) return;
            this.setCamera(Camera.zoomed(this.scene.camera, factor, this.target.place));
        }

        frame() {
            this.setCamera(Camera.fitted(this.scene.box, Camera.axesOf(this.scene.camera)));
        }
        goHome() { this.setCamera(this.scene.home); }

        point(x, y) {
            this.pointer = x === null ? null : {x, y};
            Readout.hide();
            clearTimeout(this.reading);
            this.reading = setTimeout(() => this.readOut(), 40);
        }
        readOut() {
            if (!this.pointer || root.dataset.state === "moving") return;
            const there = this.viewAt(this.pointer.x, this.pointer.y);
            const point = this.scene.pointAt(there);
            if (point < 0) Readout.hide();
            else Readout.show(this.scene.clouds[there.number], point, this.scene.views.length > 1);
        }

        show(number) {
            if (number >= this.scene.channels.length) return;
            this.scene.show(number);
            this.changed();
        }

        key(name, isShifted) {
            const side = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1],
                          ArrowDown: [0, 1]}[name];
            if (side && isShifted) this.pan(side[0] * kKeyPan, side[1] * kKeyPan);
            else if (side) this.orbit(side[0] * kKeyTurn, -side[1] * kKeyTurn);
            else if (name === "+" || name === "=") this.zoom(kKeyZoom, ...this.middle());
            else if (name === "-") this.zoom(1 / kKeyZoom, ...this.middle());
            else if (/^[1-9]$/.test(name)) this.show(Number(name) - 1);
            else if (name === "f" || name === "F") this.frame();
            else if (name === "r" || name === "R") this.goHome();
            else if (name === "?") Panel.showKeys();
            else return false;
            return true;
        }

        setTheme(isLight) {
            root.dataset.theme = isLight ? "light" : "dark";
            element("theme").textContent = isLight ? "Dark" : "Light";
            this.frames.change();
        }

        listen() {
            const {scene} = this;
            const isLight = window.matchMedia("(prefers-color-scheme: light)");
            this.setTheme(isLight.matches);
            isLight.addEventListener("change", () => this.setTheme(isLight.matches));
            Hands.listen(this.canvas, {
                orbit: (dx, dy) => this.orbit(dx * kTurn, -dy * kTurn),
                pan: (dx, dy) => this.pan(dx, dy),
                zoom: (factor, x, y) => this.zoom(factor, x, y),
                point: (x, y) => this.point(x, y),
                key: (name, isShifted) => this.key(name, isShifted),
            });
            const then = (change) => (value) => { change(value); this.changed(); };
            Panel.listen({
                show: (number) => this.show(number),
                range: then((range) => scene.setRange(range)),
                exposure: then((stops) => { scene.exposure = stops; }),
                size: then((factor) => { scene.size = factor; }),
                frame: () => this.frame(),
                home: () => this.goHome(),
                link: () => { this.writeLink(); return location.href; },
                theme: () => this.setTheme(root.dataset.theme !== "light"),
            });
            window.addEventListener("hashchange", () => this.readLink());
            new ResizeObserver(() => this.resize()).observe(this.canvas);
            this.canvas.addEventListener("webglcontextlost", () =>
                fail(new Error("The graphics processor was taken away. Reload the page.")));
        }

        begin() {
            element("panel").hidden = false;
            this.resize();
            this.listen();
            this.scene.restore(Link.decode(location.hash));
            this.changed();
        }
    }

    async function main() {
        const page = Data.readDescription(), clouds = [];
        // The message is on the screen before the work begins.
        await new Promise((resume) => setTimeout(resume, 0));
        for (let i = 0; i < page.clouds.length; ++i) clouds.push(await Data.readCloud(page, i));
        new Viewer(page, clouds).begin();
    }

    // The clouds are behind the script, so that a page whose end is missing says so.
    document.addEventListener("DOMContentLoaded", () => main().catch(fail));
})();
