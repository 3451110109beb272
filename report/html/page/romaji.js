// How Japanese is typed in Latin letters. kavrelRomaji has
//   oneForm(romaji)   one form for all ways to write it: si for shi, o for ou, ō and oh
//   hiragana(text)    with katakana of either width as hiragana
//   romaji(reading)   of hiragana, in that form
//   kanaOfRomaji      the kana of such a form
"use strict";
const kavrelRomaji = (() => {
  const rows = { "": "あいうえお", k: "かきくけこ", s: "さしすせそ", t: "たちつてと", n: "なにぬねの", h: "はひふへほ", m: "まみむめも", y: "や　ゆ　よ", r: "らりるれろ", w: "わ　　　を", g: "がぎぐげご", z: "ざじずぜぞ", d: "だぢづでど", b: "ばびぶべぼ", p: "ぱぴぷぺぽ" };
  const romajiOfKana = { ん: "n" };
  for (const [consonant, row] of Object.entries(rows)) {
    [...row].forEach((kana, i) => { if (kana !== "　") romajiOfKana[kana] = consonant + "aiueo"[i]; });
  }
  const oneForm = (romaji) => romaji.normalize("NFD").replace(/[\u0300-\u036f]/g, "").toLowerCase()
    .replace(/shi/g, "si").replace(/chi/g, "ti").replace(/tsu/g, "tu").replace(/ji|di/g, "zi").replace(/du/g, "zu")
    .replace(/fu/g, "hu").replace(/sh(?=[auo])/g, "sy").replace(/ch(?=[auo])/g, "ty").replace(/j(?=[auo])/g, "zy")
    .replace(/sh$/, "s").replace(/(ts|ch|c)$/, "t").replace(/j$/, "z").replace(/f$/, "h").replace(/m(?=[bpm])/g, "n")
    .replace(/oh(?![aiueo])/g, "o").replace(/o[ou]+/g, "o").replace(/uu+/g, "u").replace(/[^a-z]/g, "");
  const hiragana = (text) => text.normalize("NFKC").replace(/[ァ-ヶ]/g, (c) => String.fromCharCode(c.charCodeAt(0) - 0x60));
  const romaji = (reading) => oneForm([...reading].reduce((text, kana) => {
    if ("ゃゅょ".includes(kana)) return text.replace(/i$/, "y") + { ゃ: "a", ゅ: "u", ょ: "o" }[kana];
    if (kana === "っ") return text + "*";
    const next = romajiOfKana[kana] || "";
    return text.endsWith("*") ? text.slice(0, -1) + next[0] + next : text + next;
  }, ""));
  // Without ん, which plates do not have and whose n begins other kana.
  const kanaOfRomaji = Object.fromEntries(Object.entries(romajiOfKana).filter(([kana]) => kana !== "ん").map(([kana, text]) => [oneForm(text), kana]));
  return { oneForm, hiragana, romaji, kanaOfRomaji };
})();
