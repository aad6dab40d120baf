#!/usr/bin/env node
'use strict';
// Generates the demo package's payload at build time: a few hundred files
// of made-up content for Brindle Studio, and content.wxs, the WiX fragment
// that lists them, one component per file, in four component groups that
// brindle.wxs gives to its features:
//
//   Core      lib/brindle/*.js and the launcher (copied from this folder)
//   Samples   samples/<project>/{project.json,README.txt,layer-*.svg}
//   Help      help/topic-NNN.html
//   DevTools  devtools/*.js
//
//   node make_content.js OUTDIR
//
// Everything lands under OUTDIR (content/ and content.wxs), and File
// sources are relative to OUTDIR, where wixl runs: wixl takes no absolute
// source paths. The output depends on nothing but this script and the
// launcher, so a rebuild makes the same package: the contents come from a
// fixed pseudo-random sequence, the component GUIDs from a hash of each
// file's path (a component keeps its GUID from one build to the next, as
// Windows Installer's component rules ask).
const crypto = require('crypto');
const fs = require('fs');
const path = require('path');

const LAUNCHER = 'brindle_launcher.sh';
const WORDS = ['canvas', 'palette', 'brush', 'layer', 'stroke', 'export', 'import', 'history', 'render',
  'glyph', 'grid', 'shape', 'filter', 'blend', 'mask', 'curve', 'swatch', 'frame', 'cursor', 'zoom'];
const KINDS = ['engine', 'store', 'view', 'tool', 'model', 'codec'];
const PROJECTS = ['sketchbook', 'storyboard', 'poster', 'comic-strip', 'logo', 'map', 'icon-set', 'greeting-card',
  'infographic', 'floor-plan', 'album-cover', 'menu', 'badge', 'banner', 'calendar', 'label', 'postcard',
  'sticker-sheet', 'timeline', 'wireframe'];

// A small linear congruential generator: the same "random" text every build.
let seed = 20261123;
const next = (n) => { seed = (seed * 1103515245 + 12345) % 2147483648; return seed % n; };
const pick = (list) => list[next(list.length)];
const sentence = () => `The ${pick(WORDS)} ${pick(KINDS)} ${pick(['keeps', 'draws', 'checks', 'merges', 'caches'])} ` +
  `every ${pick(WORDS)} of the ${pick(WORDS)} ${pick(['once', 'in order', 'on demand', 'in the background'])}.`;
const paragraph = (count) => Array.from({ length: count }, sentence).join(' ');

function guidOf(text) {
  const hex = crypto.createHash('sha1').update(`brindle-studio:${text}`).digest('hex').toUpperCase();
  return `{${hex.slice(0, 8)}-${hex.slice(8, 12)}-5${hex.slice(13, 16)}-A${hex.slice(17, 20)}-${hex.slice(20, 32)}}`;
}

// The tree to write: folder path -> list of { name, text }, and the group of
// each file.
function payload() {
  const files = [];
  const add = (group, folder, name, text) => files.push({ group, folder, name, text });
  for (let i = 0; i < 120; i++) {
    const name = `${WORDS[i % WORDS.length]}_${KINDS[Math.floor(i / WORDS.length) % KINDS.length]}.js`;
    const body = Array.from({ length: 20 + next(60) }, (_, line) => `  // ${line + 1}. ${sentence()}`).join('\n');
    add('Core', 'lib/brindle', name, `'use strict';\n// Brindle Studio: ${name}\nmodule.exports = function () {\n${body}\n};\n`);
  }
  PROJECTS.forEach((project, i) => {
    const folder = `samples/${String(i + 1).padStart(2, '0')}-${project}`;
    add('Samples', folder, 'project.json', `${JSON.stringify({ name: project, layers: 3, size: [800 + 10 * i, 600] }, null, 2)}\n`);
    add('Samples', folder, 'README.txt', `${project}\n\n${paragraph(6)}\n`);
    for (let layer = 1; layer <= 3; layer++) {
      const shapes = Array.from({ length: 10 + next(30) }, () =>
        `  <circle cx="${next(800)}" cy="${next(600)}" r="${5 + next(60)}" fill="#${next(0xffffff).toString(16).padStart(6, '0')}"/>`);
      add('Samples', folder, `layer-${layer}.svg`, `<svg xmlns="http://www.w3.org/2000/svg" width="800" height="600">\n${shapes.join('\n')}\n</svg>\n`);
    }
  });
  for (let i = 1; i <= 100; i++) {
    const title = `${pick(WORDS)} and ${pick(WORDS)}`;
    add('Help', 'help', `topic-${String(i).padStart(3, '0')}.html`,
      `<!doctype html>\n<title>${title}</title>\n<h1>${title}</h1>\n<p>${paragraph(4 + next(12))}</p>\n`);
  }
  for (let i = 0; i < 20; i++) {
    add('DevTools', 'devtools', `${WORDS[i]}_probe.js`, `// Developer tool: ${WORDS[i]} probe.\n// ${paragraph(3)}\n`);
  }
  return files;
}

// The fragment: one Directory element per folder, nested; one component per
// file; one ComponentGroup per group. Ids are short and unique: d<N>, c<N>.
function fragment(files) {
  const folders = new Map([['', { id: 'INSTALLDIR', children: new Map(), components: [] }]]);
  const folderOf = (folderPath) => {
    if (folders.has(folderPath)) return folders.get(folderPath);
    const parent = folderOf(path.posix.dirname(folderPath) === '.' ? '' : path.posix.dirname(folderPath));
    const node = { id: `d${folders.size}`, name: path.posix.basename(folderPath), children: new Map(), components: [] };
    parent.children.set(node.name, node);
    folders.set(folderPath, node);
    return node;
  };
  const groups = {};
  files.forEach((file, i) => {
    const relative = file.folder ? `${file.folder}/${file.name}` : file.name;
    const id = file.id || `c${i}`;
    folderOf(file.folder).components.push(`<Component Id="${id}" Guid="${guidOf(relative)}">` +
      `<File Id="${file.id || `f${i}`}" Name="${file.name}" Source="content/${relative}" KeyPath="yes"/></Component>`);
    (groups[file.group] = groups[file.group] || []).push(id);
  });
  const render = (node, indent) => {
    const inner = [...node.components.map((c) => `${indent}  ${c}`),
      ...[...node.children.values()].map((child) => render(child, `${indent}  `))].join('\n');
    return node.id === 'INSTALLDIR'
      ? `${indent}<DirectoryRef Id="INSTALLDIR">\n${inner}\n${indent}</DirectoryRef>`
      : `${indent}<Directory Id="${node.id}" Name="${node.name}">\n${inner}\n${indent}</Directory>`;
  };
  const groupXml = Object.entries(groups).map(([group, ids]) =>
    `    <ComponentGroup Id="${group}">\n${ids.map((id) => `      <ComponentRef Id="${id}"/>`).join('\n')}\n    </ComponentGroup>`);
  return `<?xml version="1.0" encoding="utf-8"?>\n<!-- Generated by make_content.js: do not edit. -->\n` +
    `<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">\n  <Fragment>\n${render(folders.get(''), '    ')}\n` +
    `${groupXml.join('\n')}\n  </Fragment>\n</Wix>\n`;
}

function main() {
  const outDir = process.argv[2];
  if (!outDir) {
    console.error('usage: node make_content.js OUTDIR');
    process.exit(2);
  }
  const files = payload();
  // The launcher's key and name are both 19 characters: the installer's
  // start of the product takes the file name from WixShellExecTarget
  // ("[#brindle_launcher.sh]") as the 19 characters after "[#".
  files.push({ group: 'Core', folder: '', name: LAUNCHER, id: LAUNCHER,
    text: fs.readFileSync(path.join(__dirname, LAUNCHER), 'utf8') });
  const content = path.join(outDir, 'content');
  fs.rmSync(content, { recursive: true, force: true });
  for (const file of files) {
    fs.mkdirSync(path.join(content, file.folder), { recursive: true });
    fs.writeFileSync(path.join(content, file.folder, file.name), file.text);
  }
  fs.writeFileSync(path.join(outDir, 'content.wxs'), fragment(files));
}

main();
