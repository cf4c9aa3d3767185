// Panel: the controls beside the clouds. It shows the state of the scene and hands over what is
// asked for; texts from files become text, never markup.
"use strict";

const Panel = (() => {
    const element = (id) => document.getElementById(id);
    const kTicks = 3;
    const kSpeech = 4000;  // milliseconds that a remark stays

    function countsText({about}) {
        const all = Numbers.count(about.points) + (about.points === 1 ? " point" : " points");
        return about.shown === about.points ? all : `${Numbers.count(about.shown)} of ${all}`;
    }

    function fillHeader(clouds, page) {
        const names = clouds.map((cloud) => cloud.about.name);
        document.title = names.join(" | ");
        element("title").textContent = names.join(" and ");
        element("title").title = names.join("\n");
        element("counts").textContent = clouds.map(countsText).join("\n");
        element("version").textContent = page.version ? "ptc " + page.version : "";
    }

    /// A name in the corner of each view, when there are several.
    function fillCaptions(clouds) {
        const captions = element("captions");
        if (clouds.length < 2) return;
        captions.replaceChildren(...clouds.map(({about}) => {
            const caption = document.createElement("p"), name = document.createElement("b");
            name.textContent = about.name;
            caption.append(name, document.createElement("span"));
            return caption;
        }));
    }

    function fillChannels(channels) {
        const groups = new Map();
        channels.forEach(({name, group}, i) => {
            if (!groups.has(group)) {
                const made = document.createElement("optgroup");
                made.label = group;
                groups.set(group, made);
            }
            groups.get(group).append(new Option(name, String(i)));
        });
        element("show").replaceChildren(...groups.values());
    }

    function drawBar(colourMap) {
        const stops = [];
        for (let i = 0; i < 256; i += 15) stops.push("#" + colourMap.slice(6 * i, 6 * i + 6));
        element("bar").style.backgroundImage = `linear-gradient(to right, ${stops.join(", ")})`;
    }

    function showLegend(range) {
        const [low, high] = range;
        const ticks = [...Array(kTicks).keys()].map((i) => {
            const tick = document.createElement("span"), share = i / (kTicks - 1);
            tick.textContent = Numbers.tick(low * (1 - share) + high * share, range);
            return tick;
        });
        element("ticks").replaceChildren(...ticks);
        element("bar").setAttribute("aria-label",
            `Colours from dark violet, ${ticks[0].textContent}, to yellow, ` +
            ticks[kTicks - 1].textContent);
        for (const [id, value] of [["low", low], ["high", high]]) {
            element(id).value = Numbers.text(value, 6);
            element(id).removeAttribute("aria-invalid");
        }
    }

    /// Says something for a moment.
    let silence = 0;
    function say(words) {
        element("said").textContent = words;
        clearTimeout(silence);
        silence = setTimeout(() => { element("said").textContent = ""; }, kSpeech);
    }

    /// `orders`: show(i), range([low, high] or null), exposure(stops), size(factor), frame(),
    /// home(), link(), theme().
    function listen(orders) {
        const on = (id, kind, order) => element(id).addEventListener(kind, order);
        on("show", "change", () => orders.show(Number(element("show").value)));
        const takeRange = () => {
            const ends = ["low", "high"].map((id) => Numbers.parse(element(id).value));
            const isRange = ends.every((end) => end !== null) && ends[0] < ends[1];
            for (const id of ["low", "high"]) {
                if (isRange) element(id).removeAttribute("aria-invalid");
                else element(id).setAttribute("aria-invalid", "true");
            }
            if (isRange) orders.range(ends);
            else say("The range needs two numbers, the lower one first.");
        };
        on("low", "change", takeRange);
        on("high", "change", takeRange);
        on("range-reset", "click", () => orders.range(null));
        on("exposure", "input", () => orders.exposure(Number(element("exposure").value)));
        on("exposure-reset", "click", () => orders.exposure(0));
        on("size", "input", () => orders.size(2 ** Number(element("size").value)));
        on("size-reset", "click", () => orders.size(1));
        on("frame", "click", orders.frame);
        on("home", "click", orders.home);
        on("theme", "click", orders.theme);
        on("keys", "click", showKeys);
        on("help-close", "click", () => element("help").close());
        on("copy", "click", async () => {
            try {
                await navigator.clipboard.writeText(orders.link());
                say("The link is in the clipboard.");
            } catch {
                say("The link is in the address bar.");
            }
        });
    }

    function showKeys() {
        if (!element("help").open) element("help").showModal();
    }

    /// Shows the state: channel, channelNumber, range, exposure, size, missing (of each cloud, the
    /// channel's absence).
    function update(state) {
        const {kind} = state.channel;
        element("show").value = String(state.channelNumber);
        element("legend").hidden = kind !== "value";
        element("exposing").hidden = kind !== "light";
        if (kind === "value") showLegend(state.range);
        element("exposure").value = state.exposure;
        element("exposure-text").textContent = `${state.exposure > 0 ? "+" : ""}` +
            `${Numbers.text(state.exposure, 3)} stops`;
        element("size").value = Math.log2(state.size);
        element("size-text").textContent = "× " + Numbers.text(state.size, 3);
        element("range-reset").disabled = state.isUsualRange;
        element("exposure-reset").disabled = state.exposure === 0;
        element("size-reset").disabled = state.size === 1;
        document.querySelectorAll("#captions span").forEach((note, i) => {
            note.textContent = state.missing[i] ? ` – has no ${state.channel.name}` : "";
        });
    }

    return {fillHeader, fillCaptions, fillChannels, drawBar, listen, showKeys, update, say};
})();
