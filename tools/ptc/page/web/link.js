// Link: what is shown, as the part of the page's address behind the '#', and back.
//
// show=CHANNEL, range=LOW:HIGH, exposure=STOPS, size=FACTOR, and camera: 20 floats as base64 with
// the letters that addresses allow. Only what differs from how the page begins is in it. What
// cannot be understood is passed over, each part by itself.
"use strict";

const Link = (() => {
    const kCameraFloats = 20;  // matrix, aspect, pivot

    function encodeCamera({matrix, aspect, pivot}) {
        const bytes = new Uint8Array(Float32Array.of(...matrix, aspect, ...pivot).buffer);
        return btoa(String.fromCharCode(...bytes))
            .replaceAll("+", "-").replaceAll("/", "_").replaceAll("=", "");
    }

    function decodeCamera(text) {
        let bytes;
        try {
            bytes = atob(text.replaceAll("-", "+").replaceAll("_", "/"));
        } catch {
            return null;
        }
        if (bytes.length !== 4 * kCameraFloats) return null;
        const numbers = [...new Float32Array(
            Uint8Array.from(bytes, (letter) => letter.charCodeAt(0)).buffer)];
        const [matrix, aspect, pivot] = [numbers.slice(0, 16), numbers[16], numbers.slice(17)];
        const camera = {matrix, aspect, pivot};
        return Camera.isSound(camera) ? camera : null;
    }

    /// A number from `least` to `most`, or null.
    function number(text, least, most) {
        const value = text === null || text.trim() === "" ? NaN : Number(text);
        return value >= least && value <= most ? value : null;
    }

    function decodeRange(text) {
        const parts = (text ?? "").split(":");
        if (parts.length !== 2) return null;
        const [low, high] = parts.map((part) => number(part, -3e38, 3e38));
        return low !== null && high !== null && low < high ? [low, high] : null;
    }

    /// `state`: show, range, exposure, size, camera; null or absent where it is the usual.
    function encode(state) {
        const parts = [];
        const put = (name, value, text) => {
            if (value !== null && value !== undefined) parts.push(name + "=" + text(value));
        };
        put("show", state.show, encodeURIComponent);
        put("range", state.range, (range) => range.join(":"));
        put("exposure", state.exposure, String);
        put("size", state.size, String);
        put("camera", state.camera, encodeCamera);
        return parts.join("&");
    }

    function decode(fragment) {
        const parts = new URLSearchParams(fragment.replace(/^#/, "").replaceAll("+", "%2B"));
        return {
            show: parts.get("show"),
            range: decodeRange(parts.get("range")),
            exposure: number(parts.get("exposure"), -64, 64),
            size: number(parts.get("size"), 0.01, 100),
            camera: parts.get("camera") ? decodeCamera(parts.get("camera")) : null,
        };
    }

    return {encode, decode};
})();
