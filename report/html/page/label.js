// Labels a vehicle at a time. All texts of the run come from JSON and are shown as text, never as HTML.
"use strict";
(() => {
  const element = (id) => document.getElementById(id);
  const json = (node) => JSON.parse(node.textContent);
  const texts = json(element("texts"));
  const data = json(element("data"));
  const pictures = [...document.querySelectorAll(".pictures")];
  const vehicles = data.vehicles;
  const keys = ["region", "class_no", "kana", "serial"];
  const [REGION, CLASS, KANA, SERIAL] = [0, 1, 2, 3];

  // Storage: a browser may refuse it, and then everything works but remembering.
  let remembers = true;
  let isUnsaved = false;
  const prefix = `kavrel-label ${data.id} `;
  const recall = (key) => {
    try { return localStorage.getItem(key); } catch { remembers = false; return null; }
  };
  const remember = (key, value) => {
    try {
      if (value === null) localStorage.removeItem(key);
      else localStorage.setItem(key, value);
    } catch { remembers = false; }
  };

  // Language.
  let language = recall("kavrel-language") || (navigator.language.startsWith("ja") ? "ja" : "en");
  const say = (key, ...values) => texts[key][language].replace(/\{(\d)\}/g, (_, i) => values[i]);
  const doubtTexts = {
    empty: () => say("doubtEmpty"), searched: () => say("doubtSearched"), frames: () => say("doubtFrames"), votes: () => say("doubtVotes"),
  };
  const stateTexts = { ok: () => say("stateOk"), unreadable: () => say("stateUnreadable"), given: (text) => say("stateGiven", text) };

  const { oneForm, hiragana, romaji, kanaOfRomaji } = kavrelRomaji;
  const regions = data.regions.map(([name, reading]) => ({ name, reading, romaji: romaji(hiragana(reading)) }));
  const regionNames = new Set(data.regions.map(([name]) => name));
  const regionsLike = (typed) => {
    const text = typed.trim();
    if (!text || regionNames.has(text)) return [];
    const latin = /^[\p{Script=Latin}'-]+$/u.test(text.normalize("NFC")) ? oneForm(text) : null;
    return regions.filter((r) => r.name.startsWith(text) || r.reading.startsWith(hiragana(text)) || (latin && r.romaji.startsWith(latin)))
      .map((r) => r.name).slice(0, 9);
  };

  // What a person made of a vehicle: {fields, text, state: "ok" | "unreadable", out: [images], other, time}.
  const isFields = (fields) => Array.isArray(fields) && fields.length === 4 && fields.every((field) => typeof field === "string");
  const isWork = (work) => work && typeof work === "object" && typeof work.text === "string" && Array.isArray(work.out) &&
    ["", "ok", "unreadable"].includes(work.state) && work.out.every((image) => typeof image === "string") &&
    (work.fields === null || isFields(work.fields));
  const parsed = (text, isValid) => {
    try {
      const value = JSON.parse(text);
      return isValid(value) ? value : null;
    } catch { return null; }
  };
  const workKey = (i) => `${prefix}work ${vehicles[i].group}`;
  const works = vehicles.map((_, i) => parsed(recall(workKey(i)), isWork));
  const givenWork = (v) => (v.given ? { fields: v.givenFields, text: v.given, state: "given", out: [] } : null);
  const workOf = (i) => works[i] || givenWork(vehicles[i]);
  const isDone = (i) => Boolean(workOf(i) && workOf(i).state && !workOf(i).other);
  const plateText = (fields) => fields.map((f) => f.trim()).join(" ").trim();
  const keep = (i, work) => {
    works[i] = work;
    isUnsaved = true;
    remember(workKey(i), work && JSON.stringify(work));
  };
  const sameWork = (a, b) => a.state === b.state && a.text === b.text && [...a.out].sort().join("\n") === [...b.out].sort().join("\n");

  // What was typed of a vehicle and not taken yet.
  const draftKey = (i) => `${prefix}typed ${vehicles[i].group}`;
  const drafts = vehicles.map((_, i) => parsed(recall(draftKey(i)), isFields));
  const keepDraft = (i, fields) => {
    drafts[i] = fields;
    remember(draftKey(i), fields && JSON.stringify(fields));
  };

  const byDoubt = vehicles.map((_, i) => i).sort((a, b) => vehicles[b].weight - vehicles[a].weight || a - b);
  const byList = (() => {
    const seen = new Set(data.list.vehicles.filter((i) => i >= 0));
    vehicles.forEach((_, i) => seen.add(i));
    return [...seen];
  })();
  let order = recall(prefix + "order") === "list" ? byList : byDoubt;
  let current = order.find((i) => !isDone(i)) ?? order[0];
  let frame = 0;
  let confirmed = "";
  let theirs = null;  // what another page made of the current vehicle while something was typed here
  const undone = [];
  const started = { time: 0, done: 0 };

  // Fields.
  const inputs = keys.map((key) => {
    const field = document.createElement("div");
    field.className = "field";
    const label = document.createElement("label");
    const name = document.createElement("span");
    name.dataset.text = key;
    const shown = document.createElement("div");
    shown.className = "shown";
    shown.lang = "ja";
    const input = document.createElement("input");
    input.id = key;
    input.lang = "ja";
    input.autocomplete = "off";
    input.spellcheck = false;
    if (key === "class_no" || key === "serial") input.inputMode = "numeric";
    const why = document.createElement("div");
    why.className = "why";
    label.append(name, shown, input, why);
    field.append(label);
    element("fields").append(field);
    return { input, shown, why };
  });
  const typedFields = () => inputs.map(({ input }) => input.value.trim());
  const setFields = (fields) => inputs.forEach(({ input }, i) => { input.value = fields[i]; });

  const problems = (fields) => {
    const found = [];
    if (!regionNames.has(fields[REGION])) found.push(say("badRegion"));
    if (!/^[0-9]{3}$/.test(fields[CLASS])) found.push(say("badClass"));
    if (!data.kana.includes(fields[KANA])) found.push(say("badKana"));
    if (!/^([0-9]{2}-[0-9]{2}|[0-9]{3})$/.test(fields[SERIAL])) found.push(say("badSerial"));
    return found;
  };

  // Characters in which candidates of a field differ, as far as they have the same length.
  const doubtfulAt = (v, i) => {
    const value = [...v.read[i]];
    const others = [...v.candidates[i], ...v.others.map((fields) => fields[i])].filter((other) => other !== v.read[i]);
    const alike = others.map((other) => [...other]).filter((other) => other.length === value.length);
    const at = value.map((character, k) => alike.some((other) => other[k] !== character));
    return at.includes(true) ? at : value.map(() => true);
  };

  const drawField = (v, i) => {
    const { shown, why } = inputs[i];
    const doubt = v.doubts[i];
    const at = doubt ? doubtfulAt(v, i) : [];
    shown.replaceChildren(...[...v.read[i]].map((character, k) => {
      const node = document.createElement(at[k] ? "mark" : "span");
      node.textContent = character;
      return node;
    }));
    why.textContent = doubt ? `? ${doubtTexts[doubt]()}` : "";
  };

  const pictureOf = (kind, source, text) => {
    const picture = document.createElement("img");
    picture.className = kind;
    picture.src = source;
    picture.alt = text;
    return picture;
  };
  const figureOf = (item, i, { plate, crop }, left) => {
    const figure = document.createElement("figure");
    figure.classList.toggle("chosen", i === frame);
    figure.classList.toggle("left", left);
    if (plate) figure.append(pictureOf("plate", plate, say("plateOf", item.name)));
    if (crop) figure.append(pictureOf("crop", crop, say("cropOf", item.name)));
    if (!plate && !crop) figure.append(say("noPicture"));
    const caption = document.createElement("figcaption");
    caption.textContent = `${item.name}: ${left ? say("frameLeft") : item.read || say("nothingRead")}`;
    figure.append(caption);
    figure.addEventListener("click", () => { frame = i; markFrame(); });
    return figure;
  };
  const drawFrames = (v, work) => {
    const shown = json(pictures[current]);
    element("frames").replaceChildren(...v.frames.map((item, i) => figureOf(item, i, shown[i], Boolean(work && work.out.includes(item.image)))));
  };
  const markFrame = () => [...element("frames").children].forEach((f, i) => f.classList.toggle("chosen", i === frame));

  // Other readings, behind the digits that take them; the other person's comes first.
  const others = () => {
    const work = workOf(current);
    const readings = vehicles[current].others.map((fields) => ({ text: plateText(fields), take: () => retype(fields) }));
    if (work && work.other) readings.unshift({ text: described(work.other), take: takeTheirs });
    return readings.slice(0, 9);
  };
  const numbered = (values, take) => values.map((value, i) => {
    const item = document.createElement("li");
    const button = document.createElement("button");
    const digit = document.createElement("b");
    button.type = "button";
    digit.textContent = i + 1;
    button.append(digit, value);
    button.addEventListener("click", () => {
      button.blur();
      take(i);
    });
    item.append(button);
    return item;
  });

  const drawTyped = () => {
    const fields = typedFields();
    const items = problems(fields);
    if (confirmed) items.push(say("keepAnyway"));
    element("warnings").replaceChildren(...items.map((text) => {
      const item = document.createElement("li");
      item.textContent = text;
      return item;
    }));
    const inRegion = document.activeElement === inputs[REGION].input;
    element("completions").replaceChildren(...numbered(inRegion ? regionsLike(fields[REGION]) : [], complete).flatMap((item) => [...item.children]));
  };

  const drawProgress = () => {
    const done = vehicles.filter((_, i) => isDone(i)).length;
    const hours = (Date.now() - started.time) / 3600000;
    const speed = started.done > 1 ? Math.round((started.done - 1) / hours) : "–";
    element("progress").textContent = say("progress", done, vehicles.length - done, speed);
    element("notice").textContent = done === vehicles.length ? say("finished") : "";
    const differing = vehicles.map((_, i) => i).filter((i) => workOf(i) && workOf(i).other);
    element("differences").hidden = differing.length === 0;
    element("differenceCount").textContent = say("differences", differing.length);
    element("differenceList").replaceChildren(...differing.map((i) => {
      const item = document.createElement("li");
      const button = document.createElement("button");
      button.type = "button";
      button.textContent = `${vehicles[i].name}: ${described(works[i])} / ${described(works[i].other)}`;
      button.addEventListener("click", () => show(i));
      item.append(button);
      return item;
    }));
  };
  const described = (work) => (work.state === "unreadable" ? say("stateUnreadable")
    : `${work.text}${work.out.length ? ` (${say("frameLeft")}: ${work.out.length})` : ""}`);

  const draw = () => {
    const v = vehicles[current];
    const work = workOf(current);
    element("name").textContent = `${v.name} (${order.indexOf(current) + 1} / ${vehicles.length})`;
    element("state").textContent = work && work.state ? stateTexts[work.state](v.given) : say("stateOpen");
    drawFrames(v, work);
    keys.forEach((_, i) => drawField(v, i));
    setFields(drafts[current] || (work && work.fields) || v.read);
    const differs = Boolean(work && work.other);
    element("difference").hidden = !differs;
    element("difference").textContent = differs ? say("difference", described(work.other)) : "";
    element("others").replaceChildren(...numbered(others().map(({ text }) => text), takeOther));
    drawTyped();
    drawProgress();
    if (!remembers) element("notice").textContent = say("noStorage");
  };

  const drawTexts = () => {
    document.documentElement.lang = language;
    document.title = say("title");
    for (const node of document.querySelectorAll("[data-text]")) node.textContent = say(node.dataset.text);
    for (const node of document.querySelectorAll("[data-title]")) node.title = say(node.dataset.title);
    draw();
  };

  const show = (i) => {
    current = i;
    frame = 0;
    confirmed = "";
    theirs = null;
    if (document.activeElement) document.activeElement.blur();
    remember(prefix + "at", vehicles[i].group);
    draw();
    window.scrollTo(0, 0);
  };
  const step = (by) => show(order[(order.indexOf(current) + by + order.length) % order.length]);
  const goOn = () => {
    const at = order.indexOf(current);
    const next = [...order.slice(at + 1), ...order.slice(0, at)].find((i) => !isDone(i));
    if (next === undefined) show(current);
    else show(next);
  };

  // Changes, each of which Z takes back.
  const change = (work) => {
    undone.push([current, works[current]]);
    const differing = theirs && !sameWork(theirs, work) ? { other: theirs } : {};
    keep(current, { ...work, ...differing, time: Date.now() });
    if (!work.state) return;
    if (started.done === 0) started.time = Date.now();
    started.done += 1;
  };
  const outOf = () => (workOf(current) ? workOf(current).out : []);
  const accept = () => {
    const fields = typedFields();
    const text = plateText(fields);
    if (problems(fields).length && confirmed !== text) {
      confirmed = text;
      drawTyped();
      return;
    }
    if (!text) return markUnreadable();
    take({ fields, text, state: "ok", out: outOf() });
  };
  const markUnreadable = () => take({ fields: null, text: "", state: "unreadable", out: outOf() });
  const take = (work) => {
    change(work);
    keepDraft(current, null);
    goOn();
  };
  const toggleFrame = () => {
    const { image } = vehicles[current].frames[frame];
    const out = outOf().includes(image) ? outOf().filter((other) => other !== image) : [...outOf(), image];
    const work = workOf(current) || { fields: null, text: "", state: "" };
    change({ ...work, state: work.state === "given" ? "ok" : work.state, out });
    draw();
  };
  const takeTheirs = () => take({ ...workOf(current).other, other: undefined });
  const takeOther = (i) => {
    const other = others()[i];
    if (other) other.take();
  };
  const retype = (fields) => {
    setFields(fields);
    noteTyping();
  };
  const noteTyping = () => {
    keepDraft(current, typedFields());
    confirmed = "";
    drawTyped();
  };
  // What was typed goes first.
  const takeBack = () => {
    const last = drafts[current] ? [current, works[current]] : undone.pop();
    if (!last) return;
    const [i, work] = last;
    keepDraft(i, null);
    keep(i, work);
    show(i);
  };
  const complete = (i) => {
    const name = regionsLike(inputs[REGION].input.value)[i];
    if (!name) return false;
    inputs[REGION].input.value = name;
    noteTyping();
    focusField(CLASS);
    return true;
  };
  const focusField = (i) => {
    inputs[i].input.focus();
    inputs[i].input.select();
  };

  // What is typed into a field becomes what stands on a plate.
  const tidy = (i) => {
    const { input } = inputs[i];
    const text = input.value.normalize("NFKC");
    if (i === CLASS || i === SERIAL) {
      const digits = text.replace(/[^0-9]/g, "");
      const tidied = i === SERIAL && digits.length === 4 ? `${digits.slice(0, 2)}-${digits.slice(2)}` : i === CLASS ? text.trim() : digits;
      if (tidied !== input.value) input.value = tidied;
    }
    if (i !== KANA) return;
    const last = text.replace(/^[ぁ-んァ-ン](?=.)/, "");
    const kana = /^[a-z]+$/i.test(last) ? kanaOfRomaji[oneForm(last)] : hiragana(last);
    if (kana && kana !== input.value) input.value = kana;
  };
  inputs.forEach(({ input }, i) => {
    const typed = (event) => {
      if (event.isComposing) return;
      tidy(i);
      noteTyping();
    };
    input.addEventListener("input", typed);
    input.addEventListener("compositionend", typed);
    input.addEventListener("focus", drawTyped);
  });

  const firstDoubtful = (among) => among.find((i) => vehicles[current].doubts[i]) ?? among[0];
  const moveFrame = (by) => {
    const count = vehicles[current].frames.length;
    frame = (frame + by + count) % count;
    markFrame();
    element("frames").children[frame].scrollIntoView({ block: "nearest", inline: "nearest" });
  };
  const commands = { u: markUnreadable, d: toggleFrame, z: takeBack };
  const moves = { PageUp: () => step(-1), PageDown: () => step(1), ArrowUp: () => moveFrame(-1), ArrowDown: () => moveFrame(1) };

  // Whether the key was taken. Without a field at the cursor, letters go into the first doubtful field that has some.
  const takeKey = (event, at) => {
    const { key } = event;
    const letter = /^[a-z]$/i.test(key) ? key.toLowerCase() : "";
    const typesLetters = at === REGION || at === KANA;
    if (key === "Enter") return (at === REGION && complete(0)) || (accept(), true);
    if (moves[key]) return moves[key](), true;
    if (key === "Escape") return document.activeElement.blur(), drawTyped(), true;
    if (key === "Tab" && at < 0 && !event.shiftKey && document.activeElement === document.body) return focusField(firstDoubtful([REGION, CLASS, KANA, SERIAL])), true;
    if (commands[letter] && (!typesLetters || event.shiftKey)) return commands[letter](), true;
    if (/^[1-9]$/.test(key) && at < 0) return takeOther(key - 1), true;
    if (/^[1-9]$/.test(key) && at === REGION) return complete(key - 1), true;
    if (letter && at < 0) focusField(firstDoubtful([REGION, KANA]));
    return false;
  };
  document.addEventListener("keydown", (event) => {
    if (event.isComposing || event.ctrlKey || event.metaKey || event.altKey) return;
    const at = inputs.findIndex(({ input }) => input === document.activeElement);
    const onControl = at < 0 && document.activeElement && /^(BUTTON|SELECT|SUMMARY)$/.test(document.activeElement.tagName);
    if (onControl && event.key !== "Escape") return;
    if (takeKey(event, at)) event.preventDefault();
  });

  // Files.
  const download = (name, parts, type) => {
    const link = document.createElement("a");
    link.href = URL.createObjectURL(new Blob(parts, { type }));
    link.download = name;
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  };
  // U+10FFXX stands for a byte XX that is no part of valid UTF-8.
  const bytesOf = (text) => {
    const encoder = new TextEncoder();
    const parts = [];
    for (const piece of text.split(/([\u{10FF00}-\u{10FFFF}])/u)) {
      const point = piece.codePointAt(0) || 0;
      parts.push(point >= 0x10FF00 ? Uint8Array.of(point & 0xFF) : encoder.encode(piece));
    }
    return parts;
  };
  const csvCell = (text) => (/[",\r\n]/.test(text) ? `"${text.replace(/"/g, '""')}"` : text);
  const nameOf = (image) => image.replace(/^.*\//, "").replace(/\.[^.]*$/, "");
  // Rows of vehicles that nobody looked at stay as they are.
  const labelledRow = (row, i) => {
    const { image, expected, group } = data.list;
    const work = i < 0 ? null : works[i];
    if (!work || (!work.state && work.out.length === 0)) return row;
    const cells = [...row];
    const left = work.out.includes(row[image]);
    cells[expected] = work.state === "ok" && !left ? work.text : "";
    if (left) cells[group] = `${vehicles[i].group}_${nameOf(row[image])}`;
    return cells;
  };
  const listText = () => [data.list.header, ...data.list.rows.map((row, k) => labelledRow(row, data.list.vehicles[k]))]
    .map((cells) => `${cells.map(csvCell).join(",")}\n`).join("");
  // A vehicle is told by its group and its first picture: groups of another list may have the same names.
  const firstImage = (i) => vehicles[i].frames[0].image;
  const workText = () => JSON.stringify({ kavrelLabel: 1,
    works: Object.fromEntries(vehicles.map((v, i) => [v.group, works[i] && { ...works[i], image: firstImage(i) }]).filter(([, work]) => work)) });

  const cleaned = ({ fields, text, state, out, time }) => ({ fields, text: text.replace(/\s+/g, " "), state, out, time: Number(time) || 0 });
  const merge = (file) => {
    const counts = { taken: 0, different: 0, foreign: 0 };
    const places = new Map(vehicles.map((v, i) => [v.group, i]));
    for (const [group, work] of Object.entries(file.works)) {
      const i = places.get(group);
      if (i === undefined || !isWork(work) || work.image !== firstImage(i)) counts.foreign += 1;
      else if (!works[i]) { keep(i, cleaned(work)); counts.taken += 1; }
      else if (!sameWork(works[i], work)) { keep(i, { ...works[i], other: cleaned(work) }); counts.different += 1; }
    }
    return counts;
  };
  const load = async (file) => {
    let counts = null;
    try {
      const content = JSON.parse(await file.text());
      if (content.kavrelLabel === 1) counts = merge(content);
    } catch { counts = null; }
    draw();
    element("notice").textContent = counts ? say("loaded", counts.taken, counts.different, counts.foreign) : say("badFile");
  };

  const onClick = (id, act) => element(id).addEventListener("click", (event) => {
    event.currentTarget.blur();
    act();
  });
  const save = (name, parts, type) => {
    download(name, parts, type);
    isUnsaved = false;
  };
  onClick("saveList", () => save(data.listName, bytesOf(listText()), "text/csv"));
  onClick("saveWork", () => save("labels.json", [workText()], "application/json"));
  onClick("loadWork", () => element("workFile").click());
  element("workFile").addEventListener("change", () => {
    const [file] = element("workFile").files;
    if (file) load(file);
    element("workFile").value = "";
  });
  onClick("language", () => {
    language = language === "ja" ? "en" : "ja";
    remember("kavrel-language", language);
    drawTexts();
  });
  element("order").value = order === byList ? "list" : "doubt";
  element("order").addEventListener("change", () => {
    order = element("order").value === "list" ? byList : byDoubt;
    remember(prefix + "order", element("order").value);
    element("order").blur();
    draw();
  });
  onClick("previous", () => step(-1));
  onClick("next", () => step(1));
  onClick("accept", accept);
  onClick("unreadable", markUnreadable);
  onClick("leave", toggleFrame);
  onClick("undo", takeBack);

  // Another page of the same list labels at the same time.
  window.addEventListener("storage", (event) => {
    const i = vehicles.findIndex((_, k) => workKey(k) === event.key);
    if (i < 0) return;
    works[i] = parsed(event.newValue, isWork);
    if (i !== current) return drawProgress();
    if (drafts[i]) theirs = works[i];
    draw();
  });
  window.addEventListener("beforeunload", (event) => {
    if (!remembers && isUnsaved) event.preventDefault();
  });

  const at = vehicles.findIndex((v) => v.group === recall(prefix + "at"));
  if (at >= 0) current = at;
  drawTexts();
})();
