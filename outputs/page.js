"use strict";
// Adds to the page what needs scripts: search and order of the list, one structure at a time, the 3D
// view. The page is complete without. Text is only ever set as text, never as markup.
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  const list = document.getElementById("list");
  const body = list.querySelector("tbody");
  const headers = [...list.querySelectorAll("thead th")];
  const rows = [...body.rows];
  const articles = [...document.querySelectorAll("article")];
  const dark = matchMedia("(prefers-color-scheme: dark)");

  function element(name, properties, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties || {})) {
      if (key in made) made[key] = value;
      else made.setAttribute(key, value);
    }
    made.append(...children);
    return made;
  }

  const option = (value, text) => element("option", { value }, text);

  const button = (text, onclick, properties) => element("button", { type: "button", onclick, ...properties }, text);

  // ---- The list ----

  const TEXT_COLUMNS = [0, 4, 7, 8]; // formula, space group, source and fingerprint; the others are numbers
  const FINDINGS = 6;
  const order = { column: -1, descending: false };

  function key_of(row, column) {
    const key = row.cells[column].dataset.sort;
    return TEXT_COLUMNS.includes(column) ? key : key === "" ? NaN : Number(key);
  }

  function compare(left, right) {
    const known = (key) => key !== "" && !Number.isNaN(key);
    if (!known(left) || !known(right)) return known(right) - known(left); // unknown ones come last
    const numeric = order.column !== 8; // a fingerprint that begins with digits is no number
    const result = typeof left === "number" ? left - right : left.localeCompare(right, "en", { numeric });
    return order.descending ? -result : result;
  }

  function sort_by(column, descending) {
    order.column = column;
    order.descending = descending;
    headers.forEach((header, i) =>
      header.setAttribute("aria-sort", i !== column ? "none" : descending ? "descending" : "ascending"));
    const sorted = rows.map((row, i) => ({ row, i, key: column < 0 ? 0 : key_of(row, column) }));
    sorted.sort((a, b) => compare(a.key, b.key) || a.i - b.i);
    body.append(...sorted.map((each) => each.row));
  }

  function make_list() {
    const search = element("input", {
      type: "search", id: "search", placeholder: "Search: formula, file, finding, space group …",
      "aria-label": "Search the structures",
    });
    const severity = element("select", { id: "severity", "aria-label": "Which structures" },
      option("", "All structures"), option("warning", "With errors or warnings"), option("error", "With errors"),
      option("unread", "Not parsed"));
    const choice = element("select", { id: "order" }, option("", "As given"));
    const status = element("p", { role: "status" });
    headers.forEach((header, i) => {
      const name = header.firstChild.textContent.trim();
      // The worst findings, which one looks for, come first.
      const onclick = () => sort_by(i, i === order.column ? !order.descending : i === FINDINGS);
      header.append(element("button", { type: "button", onclick }, ...header.childNodes));
      choice.append(option(String(i), name));
    });
    choice.onchange = () => {
      const column = choice.value === "" ? -1 : Number(choice.value);
      sort_by(column, column === FINDINGS);
    };

    const texts = new Map(); // what is searched of a row, made when it is first needed
    const text_of = (row, i) => {
      if (!texts.has(row)) {
        const words = [row.textContent];
        for (const code of articles[i].querySelectorAll("code, .findings p")) words.push(code.textContent);
        texts.set(row, words.join(" ").toLowerCase());
      }
      return texts.get(row);
    };
    const fits = {
      "": () => true,
      error: (worst) => worst === "error" || worst === "unread",
      warning: (worst) => worst !== "note",
      unread: (worst) => worst === "unread",
    };
    const update = () => {
      const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
      let shown = 0;
      rows.forEach((row, i) => {
        row.hidden = !fits[severity.value](row.dataset.worst) ||
          !words.every((word) => text_of(row, i).includes(word));
        if (!row.hidden) ++shown;
      });
      status.textContent = shown === rows.length ? `${shown} shown` : `${shown} of ${rows.length} shown`;
    };
    search.oninput = update;
    severity.onchange = update;
    document.getElementById("tools").append(search, severity,
      element("label", { className: "sort" }, "Sort by", choice), status);
    headers.forEach((header) => header.setAttribute("aria-sort", "none"));
    update();
  }

  // ---- Vectors ----

  const minus = (a, b) => [a[0] - b[0], a[1] - b[1], a[2] - b[2]];
  const plus = (a, b, times = 1) => [a[0] + times * b[0], a[1] + times * b[1], a[2] + times * b[2]];
  const dot = (a, b) => a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  const cross = (a, b) =>
    [a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]];
  const length = (a) => Math.hypot(a[0], a[1], a[2]);
  const unit = (a) => plus([0, 0, 0], a, 1 / length(a));
  const xyz = (a) => ({ x: a[0], y: a[1], z: a[2] });
  // The sum of vectors, each so many times, from `start` on.
  const combined = (vectors, times, start = [0, 0, 0]) =>
    vectors.reduce((sum, vector, i) => plus(sum, vector, times[i]), start);

  // The axes of a view (right, up, toward the viewer) with one vector toward the viewer.
  function looking_along(toward_viewer, up) {
    const toward = unit(toward_viewer);
    const right = unit(cross(up, toward));
    return [right, cross(toward, right), toward];
  }

  // The rotation whose matrix has these rows, as [x, y, z, w]. The square root is taken of the largest
  // component, so that no division is by a small number.
  function quaternion(m) {
    const trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0) {
      const s = 2 * Math.sqrt(trace + 1);
      return [(m[2][1] - m[1][2]) / s, (m[0][2] - m[2][0]) / s, (m[1][0] - m[0][1]) / s, s / 4];
    }
    const i = m[0][0] > m[1][1] && m[0][0] > m[2][2] ? 0 : m[1][1] > m[2][2] ? 1 : 2;
    const j = (i + 1) % 3, k = (i + 2) % 3;
    const s = 2 * Math.sqrt(1 + m[i][i] - m[j][j] - m[k][k]);
    const q = [0, 0, 0, (m[k][j] - m[j][k]) / s];
    q[i] = s / 4;
    q[j] = (m[j][i] + m[i][j]) / s;
    q[k] = (m[k][i] + m[i][k]) / s;
    return q;
  }

  // ---- A structure, read from its canonical copy, which the page holds once ----

  const UNIT_AXES = [[1, 0, 0], [0, 1, 0], [0, 0, 1]];

  const text_in = (link) => atob(link.href.split(",", 2)[1]);

  function read_structure(article, known) {
    const lines = text_in(article.querySelector("a[download]")).split("\n");
    const lattice = /^Lattice="([^"]*)"/.exec(lines[1]);
    const numbers = lattice ? lattice[1].split(" ").map(Number) : [];
    const symbols = [], positions = [];
    for (const line of lines.slice(2)) {
      const fields = line.split(" ");
      if (fields.length !== 4) continue;
      symbols.push(fields[0]);
      positions.push(fields.slice(1).map(Number));
    }
    const cell = known.periodic ? [0, 3, 6].map((i) => numbers.slice(i, i + 3)) : null;
    let inverse = null;
    if (cell) {
      const volume = dot(cell[0], cross(cell[1], cell[2]));
      inverse = [0, 1, 2].map((i) => plus([0, 0, 0], cross(cell[(i + 1) % 3], cell[(i + 2) % 3]), 1 / volume));
    }
    // The axes of a structure without a cell are those of its coordinates.
    return { symbols, positions, cell, inverse, axes: cell || UNIT_AXES, names: cell ? "abc" : "xyz" };
  }

  const radius_of = (symbol) => data.elements[symbol].radius;
  const name_of = (structure, atom) => `${structure.symbols[atom]} ${atom}`;
  const is_finite = (at) => at.every((x) => Math.abs(x) < 1e7);

  function wrapped(structure, at) {
    return combined(structure.cell, structure.inverse.map((row) => -Math.floor(dot(row, at) + 1e-6)), at);
  }

  // The place of an atom moved by whole lattice vectors.
  function moved(structure, atom, cells) {
    const at = structure.positions[atom];
    return structure.cell ? combined(structure.cell, cells, at) : at;
  }

  // What is shown of a structure: sites, each an atom and by how many lattice vectors it is moved.
  // Where atoms lie in the cell, and which of them are joined, the page was told.
  function sites_of(structure, known, options) {
    const times = options.repeat && structure.cell ? 2 : 1;
    const places = new Map(known.places.map(([atom, i, j, k, faces]) => [atom, { into: [i, j, k], faces }]));
    const sites = [];
    structure.positions.forEach((given, atom) => {
      if (!is_finite(given)) return;
      const { into, faces } = places.get(atom) || { into: [0, 0, 0], faces: 0 };
      const on_face = (i) => (faces >> i) & 1;
      const inside = into.every((cells, i) => cells === 0 || (cells === -1 && on_face(i)));
      // Atoms outside the cell stay there, unless they are wrapped into it.
      const with_images = options.faces && (options.wrap || inside);
      const from = options.wrap || with_images ? into : [0, 0, 0];
      const own = options.wrap ? into : [0, 0, 0];
      const ends = [0, 1, 2].map((i) => times + (with_images && on_face(i) ? 1 : 0));
      for (let i = 0; i < ends[0]; ++i)
        for (let j = 0; j < ends[1]; ++j)
          for (let k = 0; k < ends[2]; ++k) {
            const cells = [from[0] + i, from[1] + j, from[2] + k];
            const image = cells.some((each, axis) => each !== own[axis]);
            sites.push({ atom, cells, at: moved(structure, atom, cells), image });
          }
    });
    // The atoms themselves come first, so that measures find them.
    return sites.sort((a, b) => a.image - b.image);
  }

  function bonds_of(known, sites) {
    const key = (atom, cells) => `${atom} ${cells}`;
    const index = new Map(sites.map((site, i) => [key(site.atom, site.cells), i]));
    const of_atom = new Map();
    sites.forEach((site, i) => of_atom.set(site.atom, [...(of_atom.get(site.atom) || []), i]));
    const bonds = sites.map(() => []);
    for (const [first, second, ...cells] of known.sticks) {
      for (const from of of_atom.get(first) || []) {
        const to = index.get(key(second, sites[from].cells.map((each, i) => each + cells[i])));
        if (to === undefined) continue;
        bonds[from].push(to);
        bonds[to].push(from);
      }
    }
    return bonds;
  }

  // ---- The 3D view: one for the page, which moves to the structure that is open ----

  const MOST_AT_ONCE = 5000;  // of more atoms the view opens on request
  const MOST_SITES = 60000;
  const AXIS_COLOURS = ["#d0453e", "#2e9150", "#3b6fd1"];
  const MARK_COLOUR = "#d6249f";
  const options = {
    style: "sticks", cell: true, axes: true, marks: true, faces: true, wrap: false, repeat: false,
  };
  const view = { viewer: null, scene: null, article: null, structure: null, known: null, picked: [], marked: [] };

  function has_webgl() {
    const canvas = document.createElement("canvas");
    return Boolean(canvas.getContext("webgl2") || canvas.getContext("webgl"));
  }

  const colour_of = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

  function make_viewer() {
    view.scene = element("div", {
      className: "scene", tabIndex: 0, role: "application", id: "scene",
      "aria-label": "3D view. Arrow keys turn it, plus and minus zoom, 0 shows it as at first.",
    });
    // The wheel scrolls the page until the view has been clicked.
    view.scene.addEventListener("wheel", (event) => {
      if (!view.scene.contains(document.activeElement)) event.stopPropagation();
    }, { capture: true, passive: true });
    view.scene.addEventListener("pointerdown", () => view.scene.focus({ preventScroll: true }));
    view.scene.addEventListener("keydown", (event) => {
      const turns = { ArrowLeft: [-8, "y"], ArrowRight: [8, "y"], ArrowUp: [-8, "x"], ArrowDown: [8, "x"] };
      if (event.ctrlKey || event.altKey || event.metaKey) return;
      if (turns[event.key]) view.viewer.rotate(turns[event.key][0], "v" + turns[event.key][1]);
      else if (event.key === "+" || event.key === "=") view.viewer.zoom(1.15);
      else if (event.key === "-") view.viewer.zoom(1 / 1.15);
      else if (event.key === "0") turn_to(view.known.axes);
      else return;
      event.preventDefault();
    });
  }

  // Turns the view to these axes and fits what is shown into it. Of the view, 3Dmol keeps the centre,
  // the distance of the camera, by which an orthographic view is scaled, and the rotation.
  function turn_to(axes) {
    const { viewer, scene, structure } = view;
    viewer.setSlab(-2 * view.extent - 50, 2 * view.extent + 50);
    const low = [Infinity, Infinity, Infinity], high = [-Infinity, -Infinity, -Infinity];
    const include = (at, radius) => axes.forEach((axis, i) => {
      low[i] = Math.min(low[i], dot(axis, at) - radius);
      high[i] = Math.max(high[i], dot(axis, at) + radius);
    });
    for (const site of view.sites) include(site.at, radius_of(structure.symbols[site.atom]) * 0.6);
    if (structure.cell && options.cell) for (const edge of edges_of(structure.cell)) include(edge.to, 0);
    if (options.axes) for (const axis of axes_of(structure, view.extent)) include(axis.beyond, 0.02 * view.extent);
    if (low[0] > high[0]) include([0, 0, 0], 1);
    const middle = combined(axes, axes.map((_, i) => (low[i] + high[i]) / 2));
    const aspect = scene.clientWidth / Math.max(1, scene.clientHeight);
    const half_width = 1.1 * Math.max(2, (high[0] - low[0]) / 2, (high[1] - low[1]) / 2 * aspect);
    const distance = half_width / Math.tan(viewer.fov * Math.PI / 180);
    viewer.setView([...middle.map((x) => -x), viewer.CAMERA_Z - distance, ...quaternion(axes)]);
    viewer.render();
  }

  function edges_of(cell) {
    const edges = [];
    for (let axis = 0; axis < 3; ++axis)
      for (const [i, k] of [[0, 0], [0, 1], [1, 0], [1, 1]]) {
        const from = combined([cell[(axis + 1) % 3], cell[(axis + 2) % 3]], [i, k]);
        edges.push({ from, to: plus(from, cell[axis]), axis: i + k === 0 ? axis : -1 });
      }
    return edges;
  }

  // The arrows of the axes: at the ends of the lattice vectors, beyond the atoms there; of a molecule
  // beside it. The name of an axis stands at the third point.
  function axes_of({ cell, symbols, positions, axes, names }, extent) {
    const least = (i) => positions.filter(is_finite).reduce((least, at) => Math.min(least, at[i]), Infinity);
    const corner = [0, 1, 2].map((i) => least(i) - 0.8);
    const largest_ball = symbols.reduce((most, symbol) => Math.max(most, 0.2 + 0.35 * radius_of(symbol)), 0);
    const reach = cell ? largest_ball + 0.07 * extent : 0.25 * extent;
    return axes.map((vector, i) => {
      const start = cell ? vector : corner;
      const beyond = plus(start, unit(vector), reach + 0.04 * extent);
      return { name: names[i], start, end: plus(start, unit(vector), reach), beyond };
    });
  }

  function draw_axes(structure, extent) {
    axes_of(structure, extent).forEach(({ name, start, end, beyond }, i) => {
      view.viewer.addArrow({
        start: xyz(start), end: xyz(end), radius: 0.005 * extent, radiusRatio: 2.4, color: AXIS_COLOURS[i],
      });
      view.viewer.addLabel(name, {
        position: xyz(beyond), fontSize: 15, bold: true, fontColor: AXIS_COLOURS[i], showBackground: false,
        inFront: true, alignment: "center",
      });
    });
  }

  function clear() {
    view.viewer.removeAllModels();
    view.viewer.removeAllShapes();
    view.viewer.removeAllLabels();
    view.decorated = [];
    view.labels = [];
  }

  // Makes the scene anew; the direction of the view stays. A large one takes long to paint, so that
  // this is left to who called.
  function build() {
    const { viewer, structure } = view;
    const sites = sites_of(structure, view.known, options);
    view.sites = sites;
    const with_sticks = options.style === "sticks" && !view.known.without_sticks;
    const bonds = with_sticks ? bonds_of(view.known, sites) : null;
    clear();
    const model = viewer.addModel();
    model.addAtoms(sites.map((site, i) => ({
      elem: structure.symbols[site.atom], ...xyz(site.at), serial: i,
      bonds: bonds ? bonds[i] : [], bondOrder: bonds ? bonds[i].map(() => 1) : [],
    })));
    for (const symbol of new Set(structure.symbols)) {
      const { colour } = data.elements[symbol];
      const covalent = radius_of(symbol);
      const radius = options.style === "points" ? 0.25
        : options.style === "spheres" || !with_sticks ? covalent : 0.2 + 0.35 * covalent;
      const style = { sphere: { color: colour, radius } };
      if (with_sticks) style.stick = { color: colour, radius: 0.11 };
      model.setStyle({ elem: symbol }, style);
    }
    viewer.setClickable({}, true, (atom) => pick(sites[atom.serial]));
    const corner = structure.cell ? combined(structure.cell, [1, 1, 1]) : [0, 0, 0];
    const extent = sites.reduce((most, site) => Math.max(most, length(minus(site.at, sites[0].at))),
      Math.max(2.5, length(corner)));
    if (structure.cell && options.cell) {
      for (const { from, to, axis } of edges_of(structure.cell)) {
        viewer.addCylinder({
          start: xyz(from), end: xyz(to), radius: 0.003 * extent, fromCap: 1, toCap: 1,
          color: axis < 0 ? "#8a93a0" : AXIS_COLOURS[axis],
        });
      }
    }
    view.extent = extent;
    if (options.axes) draw_axes(structure, extent);
    add_marks();
  }

  function draw() {
    build();
    view.viewer.render();
  }

  // The marks and measures, which change more often than the structure.
  function add_marks() {
    const { viewer, structure, picked } = view;
    for (const shape of view.decorated) viewer.removeShape(shape);
    for (const each of view.labels) viewer.removeLabel(each);
    view.decorated = [];
    view.labels = [];
    const ball = (site, times, look) => view.decorated.push(viewer.addSphere({
      center: xyz(site.at), ...look,
      radius: times * (options.style === "spheres" ? 1.1 : 0.5) * radius_of(structure.symbols[site.atom]) + 0.1,
    }));
    if (options.marks) {
      const marked = new Set(view.marked);
      const cage = { color: MARK_COLOUR, wireframe: true, linewidth: 2 };
      for (const site of view.sites) if (!site.image && marked.has(site.atom)) ball(site, 1.2, cage);
    }
    const text = colour_of("--text");
    picked.forEach((site, i) => {
      ball(site, 1.05, { color: colour_of("--accent"), wireframe: true, linewidth: 2 });
      if (i === 0) return;
      view.decorated.push(viewer.addCylinder({
        start: xyz(picked[i - 1].at), end: xyz(site.at), radius: 0.05, color: colour_of("--accent"), dashed: true,
      }));
      const middle = plus(picked[i - 1].at, minus(site.at, picked[i - 1].at), 0.5);
      view.labels.push(viewer.addLabel(`${length(minus(site.at, picked[i - 1].at)).toFixed(3)} Å`, {
        position: xyz(middle), fontSize: 13, fontColor: text, backgroundColor: colour_of("--surface"),
        backgroundOpacity: 0.85, inFront: true, alignment: "center",
      }));
    });
  }

  function decorate() {
    add_marks();
    view.viewer.render();
  }

  // ---- Measuring, by the coordinates of the copy ----

  // In a skewed cell the nearest image need not lie in a neighbouring one: look two cells far. An atom
  // is no image of itself.
  function nearest_image(structure, from, to) {
    let best = Infinity;
    const between = wrapped(structure, minus(to, from));
    for (let i = -2; i <= 2; ++i)
      for (let j = -2; j <= 2; ++j)
        for (let k = -2; k <= 2; ++k) {
          const distance = length(combined(structure.cell, [i, j, k], between));
          if (distance > 1e-6) best = Math.min(best, distance);
        }
    return best;
  }

  function measure_text(picked) {
    const { structure } = view;
    const names = picked.map((site) => name_of(structure, site.atom) + (site.image ? "′" : ""));
    if (picked.length === 1) {
      return `${names[0]} at ${picked[0].at.map((x) => x.toFixed(4)).join(", ")} Å`;
    }
    const distance = (a, b) => length(minus(a.at, b.at));
    if (picked.length === 2) {
      const shown = distance(picked[0], picked[1]);
      let text = `${names.join(" – ")}: ${shown.toFixed(6)} Å`;
      if (structure.cell) {
        const least = nearest_image(structure, picked[0].at, picked[1].at);
        if (least < shown - 5e-7) text += ` (nearest image: ${least.toFixed(6)} Å)`;
      }
      return text;
    }
    const one = minus(picked[0].at, picked[1].at), other = minus(picked[2].at, picked[1].at);
    const angle = Math.atan2(length(cross(one, other)), dot(one, other)) * 180 / Math.PI;
    return `${names.join(" – ")}: ${angle.toFixed(4)}°; ` +
      `${distance(picked[0], picked[1]).toFixed(6)} Å, ${distance(picked[1], picked[2]).toFixed(6)} Å`;
  }

  function show_picked() {
    const output = view.article.querySelector("output");
    output.textContent = view.picked.length === 0 ? "" : measure_text(view.picked);
    if (view.viewer && view.scene.parentNode) decorate();
  }

  function pick(site) {
    const again = view.picked.findIndex((each) => length(minus(each.at, site.at)) < 1e-9);
    if (again >= 0) view.picked.splice(again, 1);
    else if (view.picked.length === 3) view.picked = [site];
    else view.picked.push(site);
    view.article.querySelector(".measure input").value = view.picked.map((each) => each.atom).join(" ");
    show_picked();
  }

  function pick_by_number(text) {
    view.picked = (text.match(/\d+/g) || []).map(Number)
      .map((atom) => view.sites.find((site) => site.atom === atom && !site.image))
      .filter((site) => site !== undefined).slice(0, 3);
    show_picked();
  }

  // ---- The controls of one structure ----

  function check_box(name, text, change) {
    const box = element("input", { type: "checkbox", checked: options[name], name });
    box.onchange = () => { options[name] = box.checked; change(); };
    return element("label", {}, box, text);
  }

  function make_controls(structure) {
    const refit = () => { build(); turn_to(view.known.axes); };
    const styles = element("fieldset", {}, element("legend", {}, "Atoms as"));
    for (const value of ["sticks", "spheres", "points"]) {
      const radio = element("input", { type: "radio", name: "style", value, checked: options.style === value });
      radio.onchange = () => { options.style = value; draw(); };
      styles.append(element("label", {}, radio, value));
    }
    const shown = element("fieldset", {}, element("legend", {}, "Show"));
    if (structure.cell) shown.append(check_box("cell", "cell", draw));
    shown.append(check_box("axes", "axes", draw));
    if (view.marked.length > 0 || view.known.findings.some((atoms) => atoms.length > 0)) {
      shown.append(check_box("marks", "findings", decorate));
    }
    const turns = element("fieldset", {}, element("legend", {}, "View"),
      button("first", () => turn_to(view.known.axes), { title: "As at first" }));
    structure.axes.forEach((axis, i) => {
      const up = structure.axes[i === 2 ? 1 : 2];
      turns.append(button(structure.names[i], () => turn_to(looking_along(axis, up)),
        { title: `Along ${structure.names[i]}` }));
    });
    const controls = element("div", { className: "controls" }, styles, shown);
    if (structure.cell) {
      shown.append(check_box("faces", "atoms on all faces", draw), check_box("wrap", "wrapped into the cell", refit));
      if (structure.positions.length * 8 <= MOST_SITES) shown.append(check_box("repeat", "2 × 2 × 2", refit));
    }
    controls.append(turns);
    return controls;
  }

  function make_measure() {
    const input = element("input", { type: "text", inputMode: "numeric", placeholder: "such as 0 1", autocomplete: "off" });
    input.oninput = () => pick_by_number(input.value);
    const clear = () => { input.value = ""; pick_by_number(""); };
    return element("div", { className: "measure" }, element("label", {}, "Measure atoms", input),
      button("Clear", clear), element("output", { "aria-live": "polite" }));
  }

  function make_legend(structure) {
    const counts = new Map();
    for (const symbol of structure.symbols) counts.set(symbol, (counts.get(symbol) || 0) + 1);
    const legend = element("ul", { className: "legend", "aria-label": "Elements" });
    for (const symbol of [...counts.keys()].sort()) {
      const dot = element("i", { "aria-hidden": "true" });
      dot.style.background = data.elements[symbol].colour;
      legend.append(element("li", {}, dot, `${symbol} ${counts.get(symbol)}`));
    }
    return legend;
  }

  function start_view() {
    const { article, structure } = view;
    const figure = article.querySelector("figure");
    const stage = figure.querySelector(".stage");
    figure.querySelectorAll(".ask").forEach((each) => each.remove());
    if (!view.scene) make_viewer();
    stage.querySelector("svg").style.display = "none";
    stage.append(view.scene);
    if (!view.viewer) {
      view.viewer = $3Dmol.createViewer(view.scene,
        { backgroundColor: colour_of("--surface"), antialias: true, orthographic: true, disableFog: true });
    }
    view.viewer.setBackgroundColor(colour_of("--surface"));
    view.viewer.resize();
    if (structure.positions.length > MOST_AT_ONCE && options.style === "sticks") options.style = "spheres";
    build();
    turn_to(view.known.axes);
    figure.append(make_legend(structure), make_controls(structure), make_measure(),
      element("p", { className: "hint" },
        "Drag to turn, click to zoom with the wheel. Click two atoms for a distance, a third for an angle."));
  }

  function close_view() {
    if (!view.article) return;
    for (const made of view.article.querySelectorAll(".legend, .controls, .measure, .hint, .ask, .scene, .steps, .point")) {
      made.remove();
    }
    if (view.viewer) clear();
    const still = view.article.querySelector(".stage svg");
    if (still) still.style.display = "";
    view.article = null;
    view.picked = [];
  }

  function open_view(article, known) {
    view.article = article;
    if (!known || !article.querySelector("figure")) return;
    const figure = article.querySelector("figure");
    view.known = known;
    view.marked = known.marked;
    if (!has_webgl()) {
      figure.append(element("p", { className: "hint" },
        "This browser offers no WebGL, so that there is only the still picture."));
      return;
    }
    view.structure = read_structure(article, known);
    add_finding_buttons(article, known);
    if (view.structure.positions.length <= MOST_AT_ONCE) {
      start_view();
      return;
    }
    figure.append(element("p", { className: "ask hint" },
      button(`Show ${view.structure.positions.length} atoms in 3D`, start_view)));
  }

  function add_finding_buttons(article, known) {
    known.findings.forEach((atoms, i) => {
      if (atoms.length === 0) return;
      const show = () => {
        if (!view.scene || view.scene.parentNode === null) start_view();
        options.marks = true;
        const box = article.querySelector("input[name=marks]");
        if (box) box.checked = true;
        view.marked = atoms;
        decorate();
        view.scene.scrollIntoView({ block: "nearest" });
      };
      article.querySelector(`[data-finding="${i}"]`).append(
        button(atoms.length === 1 ? "Show the atom" : "Show the atoms", show, { className: "point" }));
    });
  }

  // ---- One structure at a time ----

  function make_steps(index) {
    const shown = [...body.rows].filter((row) => !row.hidden).map((row) => row.dataset.id);
    const here = shown.indexOf(`s${index}`);
    const link = (id, text) => element("a", { className: "button", href: `#${id}` }, text);
    const steps = element("nav", { className: "steps", "aria-label": "Structures" }, link("", "← All structures"));
    if (here > 0) steps.append(link(shown[here - 1], "Previous"));
    if (here >= 0 && here + 1 < shown.length) steps.append(link(shown[here + 1], "Next"));
    return steps;
  }

  let scrolled = 0; // where the list was left

  function show_what_is_named() {
    const index = articles.findIndex((article) => `#${article.id}` === location.hash);
    const was_open = view.article;
    close_view();
    if (index >= 0 && !list.hidden) scrolled = window.scrollY;
    list.hidden = index >= 0;
    articles.forEach((article, i) => { article.hidden = i !== index; });
    if (index < 0) {
      if (was_open) window.scrollTo(0, scrolled);
      const link = was_open && list.querySelector(`a[href="#${was_open.id}"]`);
      if (link) link.focus({ preventScroll: true });
      return;
    }
    const article = articles[index];
    article.prepend(make_steps(index));
    window.scrollTo(0, 0);
    article.focus({ preventScroll: true });
    open_view(article, data.structures[index]);
  }

  // A link whose address is a long text is cut by some browsers: give them the bytes instead.
  document.addEventListener("click", (event) => {
    const link = event.target.closest("a[download]");
    if (!link) return;
    event.preventDefault();
    const bytes = Uint8Array.from(text_in(link), (c) => c.charCodeAt(0));
    const address = URL.createObjectURL(new Blob([bytes], { type: "chemical/x-xyz" }));
    element("a", { href: address, download: link.download }).click();
    setTimeout(() => URL.revokeObjectURL(address), 60000);
  });

  dark.addEventListener("change", () => {
    if (!view.viewer) return;
    view.viewer.setBackgroundColor(colour_of("--surface"));
    if (view.scene.parentNode) decorate();
  });

  // The whole report is printed, not the part that is open on the screen, unless one is open.
  for (const [event, hidden] of [["beforeprint", false], ["afterprint", true]]) {
    addEventListener(event, () => {
      if (!list.hidden) articles.forEach((article) => { article.hidden = hidden; });
    });
  }

  make_list();
  addEventListener("hashchange", show_what_is_named);
  show_what_is_named();
})();
