'use strict';
// The TypeScript declarations (index.d.ts) against the example UI: tsc accepts
// it as it stands, and with its "// @ts-expect-error" lines blanked out it
// reports errors on exactly the marked lines, so every misuse is rejected for
// itself and the rest of the UI type-checks.
const test = require('node:test'), assert = require('node:assert'), { spawnSync } = require('node:child_process');
const fs = require('node:fs'), os = require('node:os'), path = require('node:path');
const { pathToFileURL } = require('node:url');

const root = path.join(__dirname, '..', '..'), example = path.join(root, 'examples', 'typescript-ui');
const tsc = path.join(root, 'node_modules', '.bin', 'tsc'), MARK = /^\s*\/\/ @ts-expect-error\b/;

function typeCheck(project) {
  assert.ok(fs.existsSync(tsc), `${tsc} is missing: run \`npm ci\` in ${root}`);
  const run = spawnSync(tsc, ['--noEmit', '--strict', '--pretty', 'false', '-p', project], { encoding: 'utf8' });
  if (run.error) throw run.error;
  return { status: run.status, out: run.stdout + run.stderr };
}

test('tsc --strict accepts the example UI with its misuses marked', () => {
  const { status, out } = typeCheck(example);
  assert.strictEqual(status, 0, out);
});

test('unmarked, each misuse fails on its own line and nothing else fails', (t) => {
  const lines = fs.readFileSync(path.join(example, 'ui.ts'), 'utf8').split('\n');
  // A mark stands on the line before its misuse (1-based: index + 2).
  const marked = lines.flatMap((line, i) => (MARK.test(line) ? [i + 2] : []));
  assert.ok(marked.length >= 10, `only ${marked.length} misuses are marked`);

  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ornel-ts-'));
  t.after(() => fs.rmSync(dir, { recursive: true, force: true }));
  fs.writeFileSync(path.join(dir, 'ui.ts'), lines.map((line) => (MARK.test(line) ? '' : line)).join('\n'));
  fs.writeFileSync(path.join(dir, 'tsconfig.json'),
    JSON.stringify({ extends: path.join(example, 'tsconfig.json'), files: ['ui.ts', path.join(example, 'host.d.ts')] }));

  const { status, out } = typeCheck(dir);
  assert.notStrictEqual(status, 0, 'tsc accepted every misuse');
  // An error anywhere but ui.ts maps to NaN and breaks the comparison.
  const failed = out.split('\n').filter((line) => / error TS\d+:/.test(line))
    .map((line) => Number((/ui\.ts\((\d+),\d+\): error/.exec(line) || [])[1]));
  assert.deepStrictEqual([...new Set(failed)].sort((a, b) => a - b), marked, out);
});

test('an ES module imports query by name, as the declarations export it', () => {
  const source = `import { query } from ${JSON.stringify(pathToFileURL(path.join(root, 'index.js')).href)}; process.stdout.write(typeof query);`;
  const run = spawnSync(process.execPath, ['--input-type=module', '-e', source], { encoding: 'utf8' });
  assert.strictEqual(run.stdout, 'function', run.stderr);
});
