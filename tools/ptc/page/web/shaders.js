// Shaders: programs of the graphics processor.
//
// A point is a square sprite that holds its disc; each pixel of it solves for the place on the
// disc's plane. tools/ptc/view/raster_disc.cpp derives the equations: a and b are the disc's axes,
// and what the camera makes of them is linear. What a pixel needs of the disc is a few numbers:
//
//   (u, v) = inverse . d    place on the disc, in radii times depth over the centre's depth
//   t      = 1 - tilt . d   the centre's depth over the depth there; covered where |(u, v)| <= t
//   near + slope . d        nearness on the plane
//
// with d the pixel's distance from the centre. The depth buffer holds floats, larger is nearer.
"use strict";

const Shaders = (() => {
    const kDiscVertex = `#version 300 es
precision highp float;
precision highp int;
layout(location = 0) in vec3 place;    // share of the cloud's box
layout(location = 1) in float radius;  // of the largest
layout(location = 2) in uvec2 code;
layout(location = 3) in vec4 shade;    // what is shown; w: 0 where a number is not finite

uniform vec4 placeX, placeY, placeW, placeNear;  // forms of (place, 1)
uniform vec3 worldX, worldY, worldW, worldNear;  // the same of directions in the world
uniform float bendBase, bendSlope;  // nearness changes by (base + slope w) / w^2 with a step
uniform vec2 halfSize;              // of the viewport, which reaches beyond the view
uniform vec2 centreOfView;          // in the target
uniform float radiusScale, dotRadius, mostHalf;
uniform int kind;                   // as in Channels.kKinds
uniform vec3 scale;                 // of the shade's floats
uniform vec3 range;                 // low end, one over the length, gain
uniform sampler2D colourMap;

flat out vec2 centre;
flat out vec4 inverse_;
flat out vec4 tiltAndSlope;
flat out vec2 nearAndBend;
flat out vec3 colour;

vec3 encode(vec3 light) {
    return mix(1.055 * pow(light, vec3(1.0 / 2.4)) - 0.055, 12.92 * light,
               vec3(lessThanEqual(light, vec3(0.0031308))));
}

vec3 decodeNormal() {
    if (code == uvec2(65535u)) return vec3(0);
    float z = float(code.y) / 65535.0 * 2.0 - 1.0;
    float angle = (float(code.x) / 65535.0 - 0.5) * 6.2831855;
    return vec3(vec2(cos(angle), sin(angle)) * sqrt(max(0.0, 1.0 - z * z)), z);
}

vec3 direction(vec3 v) {
    float most = max(max(abs(v.x), abs(v.y)), abs(v.z));
    return most > 0.0 ? normalize(v / most) * 0.5 + 0.5 : vec3(0.5);
}

vec3 colourOf(vec3 normal) {
    vec3 value = shade.xyz * scale;
    vec3 share = (value - range.x) * range.y;
    if (kind == 0) return encode(clamp(share * range.z, 0.0, 1.0));
    if (kind == 1)
        return texelFetch(colourMap, ivec2(clamp(share.x, 0.0, 1.0) * 255.0 + 0.5, 0), 0).rgb;
    if (kind == 2) return direction(value);
    if (kind == 3) return direction(normal);
    return vec3(0.5);
}

vec3 perpendicular(vec3 axis) {
    vec3 size = abs(axis);
    vec3 other = size.x <= size.y && size.x <= size.z ? vec3(1, 0, 0)
               : size.y <= size.z ? vec3(0, 1, 0) : vec3(0, 0, 1);
    return normalize(cross(axis, other));
}

void main() {
    gl_Position = vec4(2, 2, 2, 1);  // outside, unless the end is reached
    gl_PointSize = 1.0;
    vec4 p = vec4(place, 1);
    float w = dot(p, placeW);
    if (shade.w == 0.0 || !(w > 0.0)) return;
    vec2 c = vec2(dot(p, placeX), dot(p, placeY)) / w;
    vec3 normal = decodeNormal();
    vec3 sight = cross(worldX - worldW * c.x, worldY - worldW * c.y);
    vec3 axis = normalize(normal == vec3(0) ? sight : normal);
    float r = radius * radiusScale;
    vec3 a = perpendicular(axis) * r, b = cross(axis, a);
    float aw = dot(a, worldW), bw = dot(b, worldW);
    float ax = dot(a, worldX) - c.x * aw, bx = dot(b, worldX) - c.x * bw;
    float ay = dot(a, worldY) - c.y * aw, by = dot(b, worldY) - c.y * bw;
    float nearest = w - length(vec2(aw, bw));
    if (!(nearest > 0.01 * w)) return;
    float extent = max(length(vec2(ax, bx)), length(vec2(ay, by))) / nearest;

    float near = dot(p, placeNear) / w;
    if (extent < dotRadius) {
        extent = dotRadius;
        inverse_ = vec4(1, 0, 0, 1) / dotRadius;
        tiltAndSlope = vec4(0);
        nearAndBend = vec2(near, 0);
    } else {
        float determinant = ax * by - ay * bx;
        if (determinant == 0.0) return;  // seen on edge
        float an = dot(a, worldNear), bn = dot(b, worldNear);
        inverse_ = vec4(by, -bx, -ay, ax) * (w / determinant);
        vec2 tilt = vec2(aw * by - bw * ay, bw * ax - aw * bx) / determinant;
        vec2 slope = vec2(an * by - bn * ay, bn * ax - an * bx) / determinant - near * tilt;
        tiltAndSlope = vec4(tilt, slope);
        nearAndBend = vec2(near, 0.25 * r * (bendBase + bendSlope * w) / (w * w));
        // Sprites have a largest size; beyond it the disc is a smaller one.
        if (extent > mostHalf) {
            inverse_ *= extent / mostHalf;
            extent = mostHalf;
        }
    }
    centre = centreOfView + c;
    colour = colourOf(normal);
    gl_PointSize = 2.0 * extent + 0.1;
    gl_Position = vec4(c / halfSize, 0, 1);
}`;

    const kDiscPixel = `#version 300 es
precision highp float;
flat in vec2 centre;
flat in vec4 inverse_;
flat in vec4 tiltAndSlope;
flat in vec2 nearAndBend;
flat in vec3 colour;
uniform vec3 depthMap;  // x > 0: nearness over itself and x; else times y plus z
out vec4 pixel;

void main() {
    vec2 d = gl_FragCoord.xy - centre;
    vec2 uv = vec2(dot(inverse_.xy, d), dot(inverse_.zw, d));
    float t = 1.0 - dot(tiltAndSlope.xy, d);
    float square = dot(uv, uv), limit = t * t;
    if (!(t > 0.0 && square <= limit)) discard;
    float near = nearAndBend.x + dot(tiltAndSlope.zw, d) - nearAndBend.y * square / limit;
    gl_FragDepth = depthMap.x > 0.0 ? near / (near + depthMap.x) : near * depthMap.y + depthMap.z;
    pixel = vec4(colour, 1);
}`;

    /// A triangle that holds the whole viewport, without any buffer.
    const kWholeVertex = `#version 300 es
void main() {
    gl_Position = vec4(vec2(gl_VertexID == 1 ? 3 : -1, gl_VertexID == 2 ? 3 : -1), 0, 1);
}`;

    const kLight = `
vec3 decode(vec3 screen) {
    return mix(pow((screen + 0.055) / 1.055, vec3(2.4)), screen / 12.92,
               vec3(lessThanEqual(screen, vec3(0.04045))));
}
vec3 encode(vec3 light) {
    return mix(1.055 * pow(light, vec3(1.0 / 2.4)) - 0.055, 12.92 * light,
               vec3(lessThanEqual(light, vec3(0.0031308))));
}`;

    /// Adds the light of one sample of each pixel.
    const kGatherPixel = `#version 300 es
precision highp float;
uniform sampler2D source;
uniform float weight;
out vec4 pixel;
${kLight}
void main() {
    vec4 screen = texelFetch(source, ivec2(gl_FragCoord.xy), 0);
    pixel = vec4(decode(screen.rgb), 1) * screen.a * weight;
}`;

    /// Puts light, or one sample, over the background.
    const kPresentPixel = `#version 300 es
precision highp float;
uniform sampler2D source;
uniform vec2 corner;  // of the view on the canvas
uniform float gain;   // of gathered light; 0: the source is as on the screen
uniform vec3 background;
out vec4 pixel;
${kLight}
void main() {
    vec4 there = texelFetch(source, ivec2(gl_FragCoord.xy - corner), 0);
    vec3 light = gain > 0.0 ? there.rgb * gain : vec3(0);
    pixel = gain > 0.0
        ? vec4(encode(light + decode(background) * max(0.0, 1.0 - there.a * gain)), 1)
        : vec4(mix(background, there.rgb, there.a), 1);
}`;

    return {kDiscVertex, kDiscPixel, kWholeVertex, kGatherPixel, kPresentPixel};
})();
