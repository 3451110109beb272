// What a reader can do where scripts run: filter and sort. Without them everything is there to read.
"use strict";
(() => {
  const cards = [...document.querySelectorAll(".card")];
  const table = document.getElementById("group-table");
  const rows = table ? [...table.tBodies[0].rows] : [];

  // What can be searched: all text of a row, and a card's line without what it shows when opened.
  const textOf = (item) => (item.querySelector("summary") || item).textContent.toLowerCase();
  const items = [...cards, ...rows].map((item) => ({ item, text: textOf(item) }));

  const filter = document.getElementById("filter");
  const shown = document.getElementById("shown");
  const applyFilter = () => {
    const words = filter.value.toLowerCase().split(/\s+/).filter(Boolean);
    for (const { item, text } of items) item.hidden = !words.every((word) => text.includes(word));
    const left = cards.filter((card) => !card.hidden).length;
    shown.textContent = words.length ? `${left} of ${cards.length} shown` : "";
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

  if (table) {
    [...table.tHead.rows[0].cells].forEach((header, column) => {
      const button = document.createElement("button");
      button.type = "button";
      button.append(...header.childNodes);
      button.addEventListener("click", () => sortRows(column, header));
      header.append(button);
    });
  }
  if (!filter) return;
  document.querySelector(".controls").hidden = false;
  filter.addEventListener("input", applyFilter);
  const sort = document.getElementById("sort");
  if (sort) sort.addEventListener("change", () => sortCards(sort.value));
  const open = document.getElementById("open");
  if (!open) return;
  open.addEventListener("click", () => {
    const opening = open.textContent === "Open all";
    for (const card of cards) card.open = opening;
    open.textContent = opening ? "Close all" : "Open all";
  });
})();
