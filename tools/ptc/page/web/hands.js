// Hands: pointers, the wheel and keys on the canvas, as moves of the camera and commands.
//
// `orders` receives them: orbit(dx, dy), pan(dx, dy), zoom(factor, x, y) in the canvas's CSS
// pixels, point(x, y) or point(null) for what the pointer is over, and key(name, isShifted), which
// answers whether it knows the key.
"use strict";

const Hands = (() => {
    const kWheelNotch = 100;    // wheel's pixels that make the picture kWheelFactor times as large
    const kWheelFactor = 1.2;
    const kPixelsOf = [1, 16, 400];  // a wheel's pixels, lines and pages
    const kTap = 6;             // pixels that a finger may slip when it taps

    function listen(canvas, orders) {
        const pointers = new Map();
        let slipped = 0;

        const place = (event) => {
            const box = canvas.getBoundingClientRect();
            return {x: event.clientX - box.left, y: event.clientY - box.top};
        };
        const middle = ([a, b]) => ({x: (a.x + b.x) / 2, y: (a.y + b.y) / 2,
                                     apart: Math.hypot(a.x - b.x, a.y - b.y)});

        canvas.addEventListener("pointerdown", (event) => {
            canvas.setPointerCapture(event.pointerId);
            pointers.set(event.pointerId, place(event));
            slipped = 0;
            orders.point(null);
        });

        canvas.addEventListener("pointermove", (event) => {
            const now = place(event), before = pointers.get(event.pointerId);
            if (!before) {
                if (event.pointerType === "mouse") orders.point(now.x, now.y);
                return;
            }
            const dx = now.x - before.x, dy = now.y - before.y;
            slipped += Math.hypot(dx, dy);
            if (pointers.size === 2) {
                const old = middle([...pointers.values()]);
                pointers.set(event.pointerId, now);
                const next = middle([...pointers.values()]);
                orders.pan(next.x - old.x, next.y - old.y);
                if (old.apart > 0 && next.apart > 0)
                    orders.zoom(next.apart / old.apart, next.x, next.y);
                return;
            }
            pointers.set(event.pointerId, now);
            if (pointers.size > 2 || (event.pointerType !== "mouse" && slipped < kTap)) return;
            if (event.buttons & 6 || event.shiftKey) orders.pan(dx, dy);
            else orders.orbit(dx, dy);
        });

        const release = (event) => {
            if (!pointers.delete(event.pointerId) || event.type !== "pointerup") return;
            const {x, y} = place(event);
            const isTap = event.pointerType !== "mouse" && slipped < kTap;
            if (event.pointerType === "mouse" || isTap) orders.point(x, y);
        };
        canvas.addEventListener("pointerup", release);
        canvas.addEventListener("pointercancel", release);
        canvas.addEventListener("pointerleave", (event) => {
            if (event.pointerType === "mouse") orders.point(null);
        });
        canvas.addEventListener("contextmenu", (event) => event.preventDefault());

        canvas.addEventListener("wheel", (event) => {
            event.preventDefault();
            const {x, y} = place(event);
            const pixels = event.deltaY * kPixelsOf[event.deltaMode];
            orders.zoom(kWheelFactor ** -Math.max(-5, Math.min(5, pixels / kWheelNotch)), x, y);
        }, {passive: false});

        document.addEventListener("keydown", (event) => {
            const isTyping = event.target instanceof Element &&
                event.target.closest("input, select, textarea, dialog");
            if (isTyping || event.ctrlKey || event.altKey || event.metaKey) return;
            if (orders.key(event.key, event.shiftKey)) event.preventDefault();
        });
    }

    return {listen};
})();
