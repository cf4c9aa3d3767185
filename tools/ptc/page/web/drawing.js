// Drawing: points into targets, and targets onto the canvas.
//
// Each view has a target, which holds one sample of each pixel with its nearness, and a store that
// gathers the light of several samples. The canvas is written as a whole.
"use strict";

const Drawing = (() => {
    const {at} = Vectors;

    const kDotRadius = 0.65;      // pixels; a disc that looks smaller becomes a dot of it
    const kMostHalf = 511;        // pixels; half the side of the largest sprite that is asked for
    const kUniforms = ["placeX", "placeY", "placeW", "placeNear", "worldX", "worldY", "worldW",
        "worldNear", "bendBase", "bendSlope", "halfSize", "centreOfView", "radiusScale",
        "dotRadius", "mostHalf", "kind", "scale", "range", "colourMap", "depthMap", "source",
        "weight", "corner", "gain", "background"];

    function compiled(gl, kind, text) {
        const shader = gl.createShader(kind);
        gl.shaderSource(shader, text);
        gl.compileShader(shader);
        return shader;
    }

    function linked(gl, vertexText, pixelText) {
        const program = gl.createProgram();
        gl.attachShader(program, compiled(gl, gl.VERTEX_SHADER, vertexText));
        gl.attachShader(program, compiled(gl, gl.FRAGMENT_SHADER, pixelText));
        gl.linkProgram(program);
        if (!gl.getProgramParameter(program, gl.LINK_STATUS) && !gl.isContextLost())
            throw new Error("The graphics driver refuses a shader.");
        const places = {};
        for (const name of kUniforms) places[name] = gl.getUniformLocation(program, name);
        return {program, ...places};
    }

    /// The world in units of the cloud's size and depths in those of the pivot's, so that squares
    /// of what the shaders get are floats, however large or small the world is.
    function levelled(raster, {cloud, box}, pivot) {
        const unit = Math.max(...Vectors.subtract(box.high, box.low)) || 1;
        const gain = 1 / at(raster.w, pivot);
        const inUnits = (form, factor) =>
            [...Vectors.times(form.slice(0, 3), unit * factor), form[3] * factor];
        const share = (place) => Vectors.times(place, 1 / unit);
        return {
            raster: {...raster, x: inUnits(raster.x, gain), y: inUnits(raster.y, gain),
                     w: inUnits(raster.w, gain),
                     near: inUnits(raster.near, raster.isPerspective ? 1 : gain)},
            cloud: {low: share(cloud.low), size: share(cloud.size),
                    largestRadius: cloud.about.largest_radius / unit},
            box: {low: share(box.low), high: share(box.high)},
            pivot: share(pivot),
        };
    }

    /// A form of (p, 1) as a form of p's share of the cloud's box.
    const onShares = (form, cloud) =>
        [form[0] * cloud.size[0], form[1] * cloud.size[1], form[2] * cloud.size[2],
         at(form, cloud.low)];

    /// Nearness to the depth buffer's 0 to 1.
    function depthMapOf(raster, pivot, box) {
        if (raster.isPerspective) return [1 / Math.max(at(raster.w, pivot), 1e-30), 0, 0];
        const depths = [...Array(8).keys()].map((i) => at(raster.near,
            [0, 1, 2].map((axis) => (i >> axis & 1 ? box.high : box.low)[axis])));
        const low = Math.min(...depths), length = Math.max(...depths) - low || 1;
        return [0, 0.9 / length, 0.05 - 0.9 * low / length];
    }

    class Painter {
        /// Throws when there is no WebGL 2.
        constructor(canvas, colourMap) {
            // What is drawn stays, because browsers print pages without asking for a drawing.
            const gl = canvas.getContext("webgl2", {
                alpha: false, antialias: false, depth: false, preserveDrawingBuffer: true,
                powerPreference: "high-performance"});
            if (!gl) throw new Error("This page needs WebGL 2, which this browser does not offer.");
            this.gl = gl;
            this.canGather = !!gl.getExtension("EXT_color_buffer_float");
            this.discs = linked(gl, Shaders.kDiscVertex, Shaders.kDiscPixel);
            this.gatherer = linked(gl, Shaders.kWholeVertex, Shaders.kGatherPixel);
            this.presenter = linked(gl, Shaders.kWholeVertex, Shaders.kPresentPixel);
            this.empty = gl.createVertexArray();
            const largest = gl.getParameter(gl.ALIASED_POINT_SIZE_RANGE)[1];
            this.mostHalf = Math.min(kMostHalf, (largest - 1) / 2);
            this.mostSide = Math.min(...gl.getParameter(gl.MAX_VIEWPORT_DIMS),
                                     gl.getParameter(gl.MAX_TEXTURE_SIZE));
            this.colourMap = this.makeTexture(gl.RGBA8, 256, 1);
            gl.texSubImage2D(gl.TEXTURE_2D, 0, 0, 0, 256, 1, gl.RGBA, gl.UNSIGNED_BYTE,
                Uint8Array.from({length: 1024}, (_, i) => i % 4 === 3 ? 255
                    : parseInt(colourMap.substr((i >> 2) * 6 + i % 4 * 2, 2), 16)));
        }

        makeTexture(format, width, height) {
            const gl = this.gl, texture = gl.createTexture();
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.texStorage2D(gl.TEXTURE_2D, 1, format, width, height);
            for (const name of [gl.TEXTURE_MIN_FILTER, gl.TEXTURE_MAG_FILTER])
                gl.texParameteri(gl.TEXTURE_2D, name, gl.NEAREST);
            for (const name of [gl.TEXTURE_WRAP_S, gl.TEXTURE_WRAP_T])
                gl.texParameteri(gl.TEXTURE_2D, name, gl.CLAMP_TO_EDGE);
            return texture;
        }

        /// The cloud's points in the graphics memory: place and radius, normals, and the shade.
        upload(cloud) {
            const gl = this.gl, {count, halves} = cloud;
            const places = new Uint16Array(4 * count), radii = cloud.plane(5);
            for (let i = 0; i < count; ++i) {
                places[4 * i] = halves[3 * i];
                places[4 * i + 1] = halves[3 * i + 1];
                places[4 * i + 2] = halves[3 * i + 2];
                places[4 * i + 3] = radii[i];
            }
            const array = gl.createVertexArray(), shade = gl.createBuffer();
            const fill = (buffer, data) => {
                gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
                gl.bufferData(gl.ARRAY_BUFFER, data, gl.STATIC_DRAW);
            };
            gl.bindVertexArray(array);
            for (const place of [0, 1, 2, 3]) gl.enableVertexAttribArray(place);
            fill(gl.createBuffer(), places);
            gl.vertexAttribPointer(0, 3, gl.UNSIGNED_SHORT, true, 8, 0);
            gl.vertexAttribPointer(1, 1, gl.HALF_FLOAT, false, 8, 6);
            fill(gl.createBuffer(), halves.subarray(3 * count, 5 * count));
            gl.vertexAttribIPointer(2, 2, gl.UNSIGNED_SHORT, 4, 0);
            fill(shade, 8 * count);
            gl.vertexAttribPointer(3, 4, gl.HALF_FLOAT, false, 8, 0);
            gl.bindVertexArray(null);
            return {cloud, array, shade};
        }

        setShade(points, packed) {
            const gl = this.gl;
            gl.bindBuffer(gl.ARRAY_BUFFER, points.shade);
            gl.bufferData(gl.ARRAY_BUFFER, packed, gl.STATIC_DRAW);
        }

        makeTarget(format, width, height, hasDepth) {
            const gl = this.gl, frame = gl.createFramebuffer();
            const texture = this.makeTexture(format, width, height), {FRAMEBUFFER} = gl;
            gl.bindFramebuffer(FRAMEBUFFER, frame);
            gl.framebufferTexture2D(FRAMEBUFFER, gl.COLOR_ATTACHMENT0, gl.TEXTURE_2D, texture, 0);
            const depth = hasDepth ? gl.createRenderbuffer() : null;
            if (hasDepth) {
                gl.bindRenderbuffer(gl.RENDERBUFFER, depth);
                gl.renderbufferStorage(gl.RENDERBUFFER, gl.DEPTH_COMPONENT32F, width, height);
                gl.framebufferRenderbuffer(FRAMEBUFFER, gl.DEPTH_ATTACHMENT, gl.RENDERBUFFER,
                                           depth);
            }
            return {frame, texture, depth};
        }

        /// Gives the view room for its size in pixels. What it held is lost.
        fitTargets(view) {
            const gl = this.gl;
            for (const target of [view.target, view.store]) {
                if (!target) continue;
                gl.deleteFramebuffer(target.frame);
                gl.deleteTexture(target.texture);
                gl.deleteRenderbuffer(target.depth);
            }
            view.target = this.makeTarget(gl.RGBA8, view.width, view.height, true);
            view.store = this.canGather
                ? this.makeTarget(gl.RGBA16F, view.width, view.height, false) : null;
        }

        clear(view) {
            const gl = this.gl;
            gl.bindFramebuffer(gl.FRAMEBUFFER, view.target.frame);
            gl.clearColor(0, 0, 0, 0);
            gl.clearDepth(0);
            gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
        }

        /// Draws `count` points from `first` on into the view's target.
        /// `look`: kind, scale, range, gain, radiusScale and pivot.
        drawPoints(view, given, look, first, count) {
            const gl = this.gl, {points, width, height} = view;
            const {raster, cloud, box, pivot} =
                levelled(given, {cloud: points.cloud, box: view.box}, look.pivot);
            const at = this.discs;
            const band = Math.floor(Math.min(this.mostHalf,
                                             (this.mostSide - Math.max(width, height)) / 2));
            gl.bindFramebuffer(gl.FRAMEBUFFER, view.target.frame);
            // Sprites whose middle is outside the viewport are not drawn at all.
            gl.viewport(-band, -band, width + 2 * band, height + 2 * band);
            gl.enable(gl.DEPTH_TEST);
            gl.depthFunc(gl.GREATER);
            gl.useProgram(at.program);
            for (const [name, form] of [["X", raster.x], ["Y", raster.y], ["W", raster.w],
                                        ["Near", raster.near]]) {
                gl.uniform4fv(at["place" + name], onShares(form, cloud));
                gl.uniform3fv(at["world" + name], form.slice(0, 3));
            }
            const {length} = Vectors;
            gl.uniform1f(at.bendBase, length(raster.w) * Math.abs(raster.near[3]));
            gl.uniform1f(at.bendSlope, length(raster.near));
            gl.uniform2f(at.halfSize, width / 2 + band, height / 2 + band);
            gl.uniform2f(at.centreOfView, width / 2, height / 2);
            gl.uniform1f(at.radiusScale, cloud.largestRadius * look.radiusScale);
            gl.uniform1f(at.dotRadius, kDotRadius);
            gl.uniform1f(at.mostHalf, this.mostHalf);
            gl.uniform1i(at.kind, look.kind);
            gl.uniform3fv(at.scale, look.scale);
            gl.uniform3f(at.range, look.range[0], 1 / (look.range[1] - look.range[0]), look.gain);
            gl.uniform3fv(at.depthMap, depthMapOf(raster, pivot, box));
            gl.activeTexture(gl.TEXTURE0);
            gl.bindTexture(gl.TEXTURE_2D, this.colourMap);
            gl.uniform1i(at.colourMap, 0);
            gl.bindVertexArray(points.array);
            gl.drawArrays(gl.POINTS, first, count);
            gl.bindVertexArray(null);
            gl.disable(gl.DEPTH_TEST);
        }

        drawWhole(texture) {
            const gl = this.gl;
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.bindVertexArray(this.empty);
            gl.drawArrays(gl.TRIANGLES, 0, 3);
            gl.bindVertexArray(null);
        }

        /// Adds the target's light to the store, as one of `most` samples.
        gather(view, isFirst, most) {
            const gl = this.gl;
            gl.bindFramebuffer(gl.FRAMEBUFFER, view.store.frame);
            gl.viewport(0, 0, view.width, view.height);
            if (isFirst) gl.clearBufferfv(gl.COLOR, 0, [0, 0, 0, 0]);
            gl.enable(gl.BLEND);
            gl.blendFunc(gl.ONE, gl.ONE);
            gl.useProgram(this.gatherer.program);
            gl.uniform1f(this.gatherer.weight, 1 / most);
            this.drawWhole(view.target.texture);
            gl.disable(gl.BLEND);
        }

        /// Puts all views onto the canvas: the target where `gain` is 0, else what was gathered,
        /// times `gain`.
        present(views, background, gain) {
            const gl = this.gl, at = this.presenter;
            gl.bindFramebuffer(gl.FRAMEBUFFER, null);
            gl.useProgram(at.program);
            for (const view of views) {
                gl.viewport(view.x, view.y, view.width, view.height);
                gl.uniform2f(at.corner, view.x, view.y);
                gl.uniform1f(at.gain, gain);
                gl.uniform3fv(at.background, background);
                this.drawWhole(gain > 0 ? view.store.texture : view.target.texture);
            }
        }
    }

    return {Painter, kDotRadius};
})();
