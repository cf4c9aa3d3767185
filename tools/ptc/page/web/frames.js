// Frames: what is drawn when.
//
// While something changes, a frame shows as many points as are drawn in a frame's time; they come
// coarse first, so that these are a thinner cloud, drawn with larger discs. Once nothing changes,
// all points are drawn a slice at a time, and then again for the other samples of each pixel. A
// change ends this. Nothing is drawn before what was asked for last is finished, so that no queue
// builds up.
"use strict";

const Frames = (() => {
    const kRest = 120;         // milliseconds without a change, after which all points are drawn
    const kGoal = 33;          // milliseconds of a frame while something changes
    const kFewest = 20000;     // points of such a frame
    // Discs of a thinner cloud are larger by the root of what each represents, and by half of that
    // again, because a choice is less even than the points that it is made from.
    const kWidening = 1.5;
    const kMostWidening = 4;
    const kSide = 3;           // samples along a pixel's side
    // The middle one first: alone it is the best.
    const kSamples = [4, 0, 8, 2, 6, 1, 7, 3, 5].map((i) =>
        [(i % kSide - 1) / kSide, (Math.floor(i / kSide) - 1) / kSide]);

    class Frames {
        /// `scene` tells what is drawn now: views, rasterOf(view), lookOf(view) and
        /// background. `report` hears "moving", "refining" and "still".
        constructor(painter, scene, report) {
            this.painter = painter;
            this.scene = scene;
            this.report = report;
            this.quota = 60000;  // points of a frame while something changes
            this.pending = false;
            this.step = this.step.bind(this);
        }

        /// What is drawn has changed.
        change() {
            this.changedAt = performance.now();
            this.isStale = true;
            this.work = null;
            this.schedule(true);
        }

        schedule(isFrame) {
            if (this.pending) return;
            this.pending = true;
            if (isFrame) requestAnimationFrame(this.step);
            else setTimeout(this.step, 0);
        }

        /// Whether the last drawing is finished. The browser learns of it between two steps only.
        isFinished() {
            const {gl} = this.painter;
            if (!this.fence) return true;
            if (gl.getSyncParameter(this.fence, gl.SYNC_STATUS) !== gl.SIGNALED) return false;
            gl.deleteSync(this.fence);
            this.fence = null;
            if (this.begun !== null) this.adapt(performance.now() - this.begun);
            return true;
        }

        /// Follows how long a frame took.
        adapt(time) {
            const share = Math.max(0.5, Math.min(1.5, kGoal / time));
            if (share < 0.8 || share > 1.2) this.quota = Math.max(kFewest, this.quota * share);
            this.begun = null;
        }

        setFence(isTimed) {
            const {gl} = this.painter;
            this.begun = isTimed ? performance.now() : null;
            this.fence = gl.fenceSync(gl.SYNC_GPU_COMMANDS_COMPLETE, 0);
            gl.flush();
        }

        step() {
            this.pending = false;
            const {gl} = this.painter;
            if (gl.isContextLost()) return;
            if (!this.isFinished()) return this.schedule(false);
            if (this.isStale) {
                this.drawThin();
                return this.schedule(false);
            }
            if (this.work === null) {
                if (performance.now() - this.changedAt < kRest) {
                    this.pending = true;
                    return void setTimeout(this.step, kRest / 4);
                }
                this.work = {sample: 0, view: 0, first: 0};
            }
            if (this.work.sample < this.samples()) {
                this.drawSlice();
                this.schedule(false);
            }
        }

        samples() { return this.painter.canGather ? kSamples.length : 1; }

        drawThin() {
            const {painter, scene} = this;
            this.isStale = false;
            for (const view of scene.views) {
                const total = view.points.cloud.count;
                const count = Math.min(total, Math.round(this.quota / scene.views.length));
                const look = scene.lookOf(view);
                if (count < total)
                    look.radiusScale *= Math.min(Math.sqrt(total / count) * kWidening,
                                                 kMostWidening);
                painter.clear(view);
                painter.drawPoints(view, scene.rasterOf(view), look, 0, count);
            }
            painter.present(scene.views, scene.background(), 0);
            this.setFence(true);
            this.report("moving");
        }

        /// The next slice of the whole cloud, and what is to be done behind the last one.
        drawSlice() {
            const {painter, scene, work} = this;
            const view = scene.views[work.view];
            const [dx, dy] = kSamples[work.sample];
            const raster = Camera.shifted(scene.rasterOf(view), -dx, -dy);
            const total = view.points.cloud.count;
            const count = Math.min(total - work.first, Math.round(this.quota));
            if (work.first === 0) painter.clear(view);
            painter.drawPoints(view, raster, scene.lookOf(view), work.first, count);
            work.first += count;
            if (work.first === total) this.finishView(view);
            this.setFence(false);
        }

        finishView(view) {
            const {painter, scene, work} = this;
            if (painter.canGather) painter.gather(view, work.sample === 0, this.samples());
            work.first = 0;
            if (++work.view < scene.views.length) return;
            work.view = 0;
            ++work.sample;
            const gain = painter.canGather ? this.samples() / work.sample : 0;
            painter.present(scene.views, scene.background(), gain);
            this.report(work.sample === this.samples() ? "still" : "refining");
        }
    }

    return {Frames};
})();
