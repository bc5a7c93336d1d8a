// Colour contrast of the shipped stylesheet, computed from its own colours
// with the WCAG 2 formula: every text colour against each background it can
// stand on at least 4.5:1, focus outlines and control borders at least 3:1.
//
// Pairs come from the rules themselves. A rule that sets both a colour and
// a background is one pair (a button, the table's head row). A rule whose
// background has no text colour of its own is a surface (the page, the
// table), and so is any background of a rule that does not select a link
// or a control. Every text colour of a rule without a background of its own
// (links, the credit line) is checked against every surface of the same
// medium, the worst case of where it may end up.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const repo = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const sheet = process.env.KESTREL_STYLESHEET ?? path.join(repo, 'deploy/kestrel.css');

// Rules as { media, selector, decls }, with nested @media blocks flattened
// (media '' for rules outside any block).
export function parseRules(css) {
  const rules = [];
  const text = css.replace(/\/\*[\s\S]*?\*\//g, '');
  const walk = (from, media) => {
    let i = from;
    let start = from;
    while (i < text.length) {
      const c = text[i];
      if (c === '}') return i + 1;
      if (c === '{') {
        const prelude = text.slice(start, i).trim();
        if (prelude.startsWith('@media')) {
          i = walk(i + 1, prelude.slice(6).trim());
        } else {
          const end = text.indexOf('}', i);
          const decls = {};
          for (const part of text.slice(i + 1, end).split(';')) {
            const colon = part.indexOf(':');
            if (colon < 0) continue;
            decls[part.slice(0, colon).trim().toLowerCase()] = part.slice(colon + 1).trim();
          }
          rules.push({ media, selector: prelude.replace(/\s+/g, ' '), decls });
          i = end + 1;
        }
        start = i;
        continue;
      }
      i += 1;
    }
    return i;
  };
  walk(0, '');
  return rules;
}

// The hexadecimal colour in a declaration value, or null. Other colour
// notations would escape the check, so they fail the test instead.
export function hexColour(value) {
  if (value === undefined) return null;
  const hex = /#([0-9a-f]{3}|[0-9a-f]{6})\b/i.exec(value);
  if (hex) {
    const h = hex[1].length === 3 ? [...hex[1]].map((d) => d + d).join('') : hex[1];
    return `#${h.toLowerCase()}`;
  }
  if (/\b(rgb|hsl|hwb|lab|lch|oklab|oklch|color)\(/i.test(value) ||
      /^(white|black|red|green|blue|silver|gray|grey|yellow|navy|purple)$/i.test(value)) {
    throw new Error(`colour "${value}" is not hexadecimal`);
  }
  return null;
}

export function luminance(hex) {
  const channel = (i) => {
    const c = parseInt(hex.slice(i, i + 2), 16) / 255;
    return c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
  };
  return 0.2126 * channel(1) + 0.7152 * channel(3) + 0.0722 * channel(5);
}

export function contrast(a, b) {
  const [hi, lo] = [luminance(a), luminance(b)].sort((x, y) => y - x);
  return (hi + 0.05) / (lo + 0.05);
}

// True when every selector of the list ends on a link or a form control.
const isControl = (selector) => selector.split(',').every((one) => {
  const plain = one.replace(/\[[^\]]*\]/g, '[]').replace(/\([^)]*\)/g, '()');
  return /^(a|input|button|select|textarea)([[:]|$)/.test(plain.trim().split(/[\s>+~]+/).pop());
});

// Print rules stand on paper; every other rule (screen, phones) shares the
// screen's surfaces.
const medium = (rule) => (rule.media === 'print' ? 'print' : 'screen');

export function colourPairs(rules) {
  const pairs = [];
  const surfaces = { screen: new Map(), print: new Map([['#ffffff', 'paper']]) };
  const loose = [];
  for (const rule of rules) {
    const fg = hexColour(rule.decls.color);
    const bg = hexColour(rule.decls['background-color'] ?? rule.decls.background);
    const where = medium(rule);
    if (fg && bg) pairs.push({ fg, bg, what: rule.selector, min: 4.5 });
    if (bg && !isControl(rule.selector)) surfaces[where].set(bg, rule.selector);
    if (fg && !bg) loose.push({ fg, where, what: rule.selector, min: 4.5 });
    for (const key of ['outline', 'outline-color']) {
      const line = hexColour(rule.decls[key]);
      if (line) loose.push({ fg: line, where, what: `${rule.selector} (${key})`, min: 3 });
    }
    const border = hexColour(rule.decls['border-color'] ?? rule.decls.border);
    if (border && isControl(rule.selector)) {
      // A control's border marks its edge against the surface around it.
      loose.push({ fg: border, where, what: `${rule.selector} (border)`, min: 3 });
    }
  }
  for (const { fg, where, what, min } of loose) {
    for (const [bg, surface] of surfaces[where]) pairs.push({ fg, bg, what: `${what} on ${surface}`, min });
  }
  return pairs;
}

test('every colour pair of the shipped stylesheet meets WCAG AA', () => {
  const pairs = colourPairs(parseRules(fs.readFileSync(sheet, 'utf8')));
  assert.ok(pairs.length > 10, `only ${pairs.length} pairs found`);
  const seen = new Set();
  const table = [];
  const failures = [];
  for (const pair of pairs) {
    const ratio = contrast(pair.fg, pair.bg);
    const key = `${pair.fg} ${pair.bg}`;
    if (!seen.has(key)) {
      seen.add(key);
      table.push(`${pair.fg} on ${pair.bg}  ${ratio.toFixed(2)}:1  (${pair.what})`);
    }
    if (ratio < pair.min) {
      failures.push(`${pair.what}: ${pair.fg} on ${pair.bg} is ${ratio.toFixed(2)}:1, under ${pair.min}:1`);
    }
  }
  console.log(table.join('\n'));
  assert.deepEqual(failures, []);
});

// The formula itself, on the pairs everybody knows, and a pair the check
// must reject.
test('the contrast formula gives the known ratios', () => {
  assert.equal(contrast('#000000', '#ffffff').toFixed(1), '21.0');
  assert.equal(contrast('#777777', '#ffffff').toFixed(2), '4.48');
  assert.equal(contrast('#ffffff', '#ffffff'), 1);
  const weak = colourPairs(parseRules(
    'body { background: #fff; } a:link { color: #999; } @media print { a { color: #000; } }'));
  assert.deepEqual(weak.map((p) => [p.fg, p.bg, contrast(p.fg, p.bg) < 4.5]),
    [['#999999', '#ffffff', true], ['#000000', '#ffffff', false]]);
  assert.throws(() => hexColour('rgb(1, 2, 3)'), /not hexadecimal/);
});
