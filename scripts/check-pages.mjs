// Type-checks the sample pages against pages/types: their .js files as they are, and the
// inline <script> elements of every .html page, each page's scripts joined into one module
// under OUT (so that two pages' top-level names don't meet); the same for the sample light apps
// under examples/ (but examples/faulty, whose mistakes are its point), and their host files
// against TnwebuiRunHostFile. Runs `tsc --noEmit --checkJs`.
//
// usage: node scripts/check-pages.mjs OUT
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import {fileURLToPath} from 'node:url';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');
const pages = path.join(root, 'pages');
const out = path.resolve(process.argv[2] || path.join(root, 'build', 'page-check'));
const scriptsDir = path.join(out, 'scripts');
fs.rmSync(out, {recursive: true, force: true});
fs.mkdirSync(scriptsDir, {recursive: true});

function* htmlFiles(dir) {
  for (const entry of fs.readdirSync(dir, {withFileTypes: true})) {
    const full = path.join(dir, entry.name);
    if (entry.isDirectory()) yield* htmlFiles(full);
    else if (entry.name.endsWith('.html')) yield full;
  }
}

// An inline script keeps its lines where they stood in the page, so that a message's line
// number is the page's.
const examples = path.join(root, 'examples');
const appPages = [...htmlFiles(examples)].filter((f) => !f.includes(`${path.sep}faulty${path.sep}`));
let pageCount = 0;
for (const file of [...htmlFiles(pages), ...appPages]) {
  const html = fs.readFileSync(file, 'utf8');
  const lines = html.split('\n').map(() => '');
  const inline = /<script(\s[^>]*)?>([\s\S]*?)<\/script>/g;
  let match;
  let found = false;
  while ((match = inline.exec(html))) {
    if (/\bsrc\s*=/.test(match[1] || '')) continue;
    const firstLine = html.slice(0, match.index + match[0].indexOf('>') + 1).split('\n').length - 1;
    match[2].split('\n').forEach((text, i) => { lines[firstLine + i] += text; });
    found = true;
  }
  if (!found) continue;
  const target = path.join(scriptsDir, path.relative(root, file) + '.js');
  fs.mkdirSync(path.dirname(target), {recursive: true});
  fs.writeFileSync(target, lines.join('\n') + '\nexport {};\n');
  pageCount++;
}

// Each example's host file, as an object literal that must be a TnwebuiRunHostFile.
let hostCount = 0;
for (const entry of fs.readdirSync(examples, {withFileTypes: true})) {
  const host = path.join(examples, entry.name, 'host.json');
  if (!entry.isDirectory() || !fs.existsSync(host)) continue;
  fs.writeFileSync(path.join(scriptsDir, `host-${entry.name}.js`),
                   `/** @type {TnwebuiRunHostFile} */\nconst host = ${fs.readFileSync(host, 'utf8')};\nexport {host};\n`);
  hostCount++;
}

const config = {
  extends: path.join(pages, 'tsconfig.json'),
  include: [path.join(pages, 'types', '*.d.ts'), path.join(pages, '**', '*.js'),
            path.join(scriptsDir, '**', '*.js')],
};
fs.writeFileSync(path.join(out, 'tsconfig.json'), JSON.stringify(config, null, 1));
const tsc = path.join(root, 'node_modules', '.bin', 'tsc');
try {
  execFileSync(tsc, ['-p', path.join(out, 'tsconfig.json'), '--pretty', 'false'],
               {stdio: 'inherit'});
} catch (e) {
  process.exit(1);
}
console.log(`pages: ${pageCount} pages' inline scripts, the pages' .js files and ${hostCount} host files type-check`);
