// What a reader can do where scripts run: filter, sort, and read it in Japanese. Without them everything is there to
// read in English.
"use strict";
(() => {
  // The page's texts in both languages. In braces, a capital letter stands for any text within a sentence, a small one
  // for a number. The longest is the one that is meant.
  const texts = JSON.parse(document.getElementById("texts").textContent);
  const whole = new Map(texts.map(({ en, ja }) => [en, ja]));
  const patterns = texts.filter(({ en }) => en.includes("{")).map(({ en, ja }) => {
    const names = [];
    const source = en.replace(/[.*+?^$()|[\]\\]/g, "\\$&").replace(/\{(\w)\}/g, (_, name) => {
      names.push(name);
      return name < "a" ? "((?:(?!\\. ).)+?)" : "([0-9.,]+)";
    });
    return { names, ja, form: new RegExp(`^${source}$`, "s") };
  }).sort((a, b) => b.form.source.length - a.form.source.length);
  const known = (text) => {
    if (whole.has(text)) return whole.get(text);
    for (const { names, ja, form } of patterns) {
      const found = form.exec(text);
      if (found) return ja.replace(/\{(\w)\}/g, (_, name) => inJapanese(found[names.indexOf(name) + 1]));
    }
    return null;
  };
  // A paragraph of the run may be several sentences that are known one by one.
  const ofSentence = (text) => known(text) ?? (whole.has(text.slice(0, -1)) ? `${whole.get(text.slice(0, -1))}。` : text);
  const translate = (text) => known(text) ?? text.split(/(?<=[.?]) /).map(ofSentence).join(" ");
  const translated = new Map();
  const inJapanese = (text) => {
    if (!/[a-z]/i.test(text)) return text;
    if (!translated.has(text)) translated.set(text, translate(text));
    return translated.get(text);
  };

  let language = "en";
  const say = (text) => (language === "ja" ? inJapanese(text) : text);

  // What the run wrote is not the page's to translate.
  const isForeign = (node) => !node.translate || /^(BDI|SCRIPT|STYLE)$/.test(node.tagName);
  const attributes = ["alt", "aria-label", "placeholder"];
  let english = [];  // how each text stood before
  const put = (text, write) => {
    const words = text.trim().replace(/\s+/g, " ");
    const other = inJapanese(words);
    if (other === words) return;
    english.push(() => write(text));
    write(/^\s*/.exec(text)[0] + other + /\s*$/.exec(text)[0]);
  };
  const toJapanese = () => {
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_ELEMENT | NodeFilter.SHOW_TEXT, (node) =>
      (node.nodeType === Node.ELEMENT_NODE && isForeign(node) ? NodeFilter.FILTER_REJECT : NodeFilter.FILTER_ACCEPT));
    const nodes = [];
    while (walker.nextNode()) nodes.push(walker.currentNode);
    for (const node of nodes) {
      if (node.nodeType === Node.TEXT_NODE) put(node.data, (text) => { node.data = text; });
    }
    for (const name of attributes) {
      for (const node of document.querySelectorAll(`[${name}]`)) put(node.getAttribute(name), (text) => node.setAttribute(name, text));
    }
  };

  const cards = [...document.querySelectorAll(".card")];
  const table = document.getElementById("group-table");
  const rows = table ? [...table.tBodies[0].rows] : [];

  // What can be searched: all text of a row, and a card's line without what it shows when opened.
  const textOf = (item) => (item.querySelector("summary") || item).textContent.toLowerCase();
  let items = [];
  const readItems = () => { items = [...cards, ...rows].map((item) => ({ item, text: textOf(item) })); };

  const filter = document.getElementById("filter");
  const shown = document.getElementById("shown");
  const applyFilter = () => {
    const words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    for (const { item, text } of items) item.hidden = !words.every((word) => text.includes(word));
    const left = cards.filter((card) => !card.hidden).length;
    shown.textContent = words.length ? say(`${left} of ${cards.length} shown`) : "";
  };

  const sortCards = (key) => {
    const sign = key === "order" ? 1 : -1;
    cards.sort((a, b) => sign * (a.dataset[key] - b.dataset[key]) || a.dataset.order - b.dataset.order);
    document.getElementById("cards").append(...cards);
  };

  const sortRows = (column, header) => {
    const descending = header.getAttribute("aria-sort") === "ascending";
    for (const other of header.parentNode.cells) other.removeAttribute("aria-sort");
    header.setAttribute("aria-sort", descending ? "descending" : "ascending");
    const order = new Intl.Collator(undefined, { numeric: true });
    const keyed = rows.map((row) => [row.cells[column].textContent, row]);
    keyed.sort((a, b) => (descending ? -1 : 1) * order.compare(a[0], b[0]));
    table.tBodies[0].append(...keyed.map(([, row]) => row));
  };

  const open = document.getElementById("open");
  let opened = false;
  const drawOpen = () => { open.textContent = say(opened ? "Close all" : "Open all"); };

  // The language is the one that was chosen last, also on another page, or else the browser's. A browser may refuse to
  // remember it.
  const languageButton = document.getElementById("language");
  const recall = () => { try { return localStorage.getItem("kavrel-language"); } catch { return null; } };
  const remember = () => { try { localStorage.setItem("kavrel-language", language); } catch { /* asked again next time */ } };
  const speak = (chosen) => {
    for (const restore of english) restore();
    english = [];
    language = chosen;
    if (language === "ja") toJapanese();
    document.documentElement.lang = language;
    languageButton.textContent = language === "ja" ? "English" : "日本語";
    languageButton.lang = language === "ja" ? "en" : "ja";
    readItems();
    if (open) drawOpen();
    if (filter) applyFilter();
  };
  languageButton.hidden = false;
  languageButton.addEventListener("click", () => {
    speak(language === "ja" ? "en" : "ja");
    remember();
  });

  if (table) {
    [...table.tHead.rows[0].cells].forEach((header, column) => {
      const button = document.createElement("button");
      button.type = "button";
      button.append(...header.childNodes);
      button.addEventListener("click", () => sortRows(column, header));
      header.append(button);
    });
  }
  speak(recall() || (navigator.language.startsWith("ja") ? "ja" : "en"));
  if (!filter) return;
  document.querySelector(".controls").hidden = false;
  filter.addEventListener("input", applyFilter);
  const sort = document.getElementById("sort");
  if (sort) sort.addEventListener("change", () => sortCards(sort.value));
  if (!open) return;
  open.addEventListener("click", () => {
    opened = !opened;
    for (const card of cards) card.open = opened;
    drawOpen();
  });
})();
