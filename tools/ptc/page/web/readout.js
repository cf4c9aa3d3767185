// Readout: the numbers of the point under the pointer.
"use strict";

const Readout = (() => {
    const kColumns = 4;  // of values

    const table = () => document.getElementById("readout");

    function row(name, values) {
        const line = document.createElement("tr"), head = document.createElement("th");
        head.scope = "row";
        head.textContent = name;
        if (values.length === 0) head.colSpan = kColumns + 1;
        line.append(head, ...values.map((value) => {
            const cell = document.createElement("td");
            cell.textContent = value;
            return cell;
        }));
        return line;
    }

    /// Half floats have three to four digits, positions nearly five of the box.
    function show(cloud, point, hasName) {
        const texts = (values, digits) => values.map((value) => Numbers.text(value, digits));
        const normal = cloud.normal(point), {about} = cloud;
        const rows = [
            row("position", texts(cloud.position(point), 5)),
            row("normal", Vectors.length(normal) > 0 ? texts(normal, 4) : ["none"]),
            row(about.shown < about.points ? "radius drawn" : "radius",
                texts([cloud.radius(point)], 4)),
        ];
        for (const {name, components, scale, first} of cloud.variables) {
            const values = components.map((_, i) =>
                Data.kHalves[cloud.plane(first + i)[point]] * scale[i]);
            // Long variables go on in further lines.
            for (let i = 0; i < values.length; i += kColumns)
                rows.push(row(i === 0 ? name : "", texts(values.slice(i, i + kColumns), 4)));
        }
        if (hasName) rows.unshift(row(about.name, []));
        table().tBodies[0].replaceChildren(...rows);
        table().hidden = false;
    }

    function hide() { table().hidden = true; }

    return {show, hide};
})();
