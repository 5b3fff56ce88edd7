// build.mjs [--out DIRECTORY] [--test]: makes the page of src/ and static/, ready to be served. With --test
// the tests instead, into build/test.
import { build, transformSync } from 'esbuild';
import { cpSync, mkdirSync, readFileSync, readdirSync, rmSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';
import { minify } from 'terser';

const here = dirname(fileURLToPath(import.meta.url));
const options = process.argv.slice(2);
const largestPage = 60_000;  // bytes, compressed

// Of each setting only what the page uses. So short a help says no more than the label.
const shortestHelp = 34;
const settingMembers = ['key', 'topic', 'kind', 'capacity', 'label', 'help', 'unit', 'choices', 'lowest',
  'highest', 'default_for_empty', 'report', 'parameters', 'conversion', 'value', 'meaning', 'name'];
const shortSettings = {
  name: 'short settings',
  setup: ({ onLoad }) => onLoad({ filter: /[/\\]settings\.json$/ }, ({ path }) => {
    const { settings, unsaved } = JSON.parse(readFileSync(path, 'utf8'));
    const rows = [...settings, ...unsaved].map((row) =>
      ({ ...row, help: row.help.length < shortestHelp ? undefined : row.help }));
    return { contents: JSON.stringify(rows, settingMembers), loader: 'json' };
  }),
};

// The plots are lines over time: all else that the library can do is left out. Each piece has to be there
// to be taken out, so that another version of it is noticed.
function without(text, piece, instead) {
  if (!text.match(piece)) throw new Error(`uPlot is not as expected: no ${piece}`);
  return text.replace(piece, instead);
}
const leanPlots = {
  name: 'lean plots',
  setup: ({ onLoad }) => onLoad({ filter: /[/\\]uPlot\.esm\.js$/ }, ({ path }) => {
    let text = readFileSync(path, 'utf8');
    text = without(text, /^uPlot\.assign = assign;[^]*(?=^export )/m, '');  // bars, curves, helpers
    text = without(text, 'const showLegend = legend.show;', 'const showLegend = false;');
    text = without(text, /(\w+\.)?distr (== (3|4|100)|>= 3)\b/g, 'false');  // scales that are not linear
    // Words for times: the plots write their own.
    text = without(text, /const _timeAxisStamps = \[[^]*?\n\t\];/, 'const _timeAxisStamps = 0;');
    text = without(text, /const _fmtDate = .*/, '');
    text = without(text, /const _timeAxisVals .*\n.*_timeSeriesVal .*/, 'const _timeSeriesVal = numSeriesVal;');
    text = without(text, /isStr\(sv\) \? timeSeriesVal\(.*?\) : sv/, 'sv');
    text = without(text, /isArr\(av\) \?\s+timeAxisVals[^]*?av \|\| _timeAxisVals/, 'av');
    return { contents: text, loader: 'js' };
  }),
};
const common = {
  plugins: [shortSettings, leanPlots],
  absWorkingDir: here, bundle: true, target: ['es2021'], logLevel: 'warning', legalComments: 'none',
};

async function buildTests() {
  rmSync(join(here, 'build/test'), { recursive: true, force: true });
  const tests = readdirSync(join(here, 'test')).filter((name) => name.endsWith('.test.ts'));
  await build({
    ...common, entryPoints: tests.map((name) => join('test', name)), outdir: 'build/test', platform: 'node',
    format: 'esm', outExtension: { '.js': '.mjs' },
  });
}

// One style sheet, panel.css first. What the page asks for by itself stays.
function buildStyles(out) {
  const sheets = readdirSync(join(here, 'static')).filter((name) => name.endsWith('.css'));
  const own = ['panel.css', ...sheets.filter((name) => name !== 'panel.css').sort()];
  const all = own.map((name) => readFileSync(join(here, 'static', name), 'utf8')).join('\n');
  const page = readFileSync(join(here, 'static/index.html'), 'utf8');
  for (const name of sheets.filter((sheet) => !page.includes(`"${sheet}"`))) rmSync(join(out, name));
  writeFileSync(join(out, 'panel.css'), transformSync(all, { loader: 'css', minify: true }).code);
}

async function buildPage(out) {
  rmSync(out, { recursive: true, force: true });
  mkdirSync(out, { recursive: true });
  cpSync(join(here, 'static'), out, { recursive: true });
  buildStyles(out);
  const { outputFiles: [bundle] } = await build({
    ...common, entryPoints: ['src/main.ts'], format: 'iife', write: false,
  });
  // A twentieth smaller than what the bundler makes of it by itself.
  const { code } = await minify(bundle.text, { ecma: 2020, compress: { passes: 3, unsafe_arrows: true } });
  writeFileSync(join(out, 'panel.js'), code);
  const size = readdirSync(out).reduce((sum, name) =>
    sum + gzipSync(readFileSync(join(out, name)), { level: 9 }).length, 0);
  if (size > largestPage) throw new Error(`The page has ${size} bytes compressed, ${largestPage} at most.`);
}

const out = options.indexOf('--out');
if (options.includes('--test')) await buildTests();
else await buildPage(out < 0 ? join(here, 'build/page') : options[out + 1]);
