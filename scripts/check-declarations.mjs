// Checks pages/types (the JS SDK's and the desktop commands' declarations) against what the
// module really answers. Runs the in-process tests of the JS SDK and of the desktop commands
// with TNWEBUI_BRIDGE_RECORD set, so that every message a page handed over, every script the
// module ran in a page and every desktop request's answer is recorded; pairs each SDK answer
// with the call it answers (per browser, by call id, in order), each client call of a page
// handler with its data, each back-command answer the module went back for, and reads each
// desktop answer with the sample helper tn-desktop.js; writes them as typed constants, with a
// list of wrong shapes that the declarations must refuse and the checks that tnwebui-run's
// table of payloads names the declared fields, and runs `tsc`.
//
// usage: node scripts/check-declarations.mjs BUILD_DIR OUT_DIR
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import vm from 'node:vm';
import {fileURLToPath} from 'node:url';

const root = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '..');
const build = path.resolve(process.argv[2] || path.join(root, 'build', 'test'));
const out = path.resolve(process.argv[3] || path.join(build, 'declaration-check'));
const declarations = path.join(root, 'pages', 'types', 'tavrin-js-bridge.d.ts');
// The tests that drive every SDK name and desktop command through its answers and failures.
const tests = ['sdk_contacts_test', 'sdk_page_commands_test', 'sdk_voice_test', 'transfers_test',
               'choosers_test', 'identity_functions_test', 'js_sdk_test', 'desktop_commands_test',
               'open_window_test', 'light_window_test', 'window_commands_test'];

fs.rmSync(out, {recursive: true, force: true});
fs.mkdirSync(out, {recursive: true});
const record = path.join(out, 'bridge.jsonl');
for (const name of tests) {
  const binary = path.join(build, 'tests', name);
  process.stdout.write(`declarations: recording ${name}\n`);
  try {
    execFileSync(binary, ['--gtest_brief=1'], {
      env: {...process.env, TNWEBUI_BRIDGE_RECORD: record}, stdio: ['ignore', 'pipe', 'pipe'],
      maxBuffer: 64 * 1024 * 1024});
  } catch (e) {
    // With --gtest_brief its output is the failed tests alone: they say why.
    console.error(`declarations: ${name} failed; its own test run says why\n${e.stdout || ''}` +
                  `${e.stderr || ''}`);
    process.exit(1);
  }
}

// The thirty names and what each answers, as the declarations say.
const text = fs.readFileSync(declarations, 'utf8');
const block = text.slice(text.indexOf('interface SdkFunctions {'),
                         text.indexOf('type SdkUnknownAnswer'));
const declared = new Map([...block.matchAll(/^  '([\w.]+)': \{[\s\S]*?answer: ([^;]+);/gm)]
                             .map((m) => [m[1], m[2].replace(/}\s*$/, '').trim()]));
if (declared.size !== 30) {
  console.error(`declarations: SdkFunctions declares ${declared.size} names, not 30`);
  process.exit(1);
}

// Pairs the recorded traffic up, per browser and in order.
const calls = new Map();     // browser -> Map(callbackId -> handlerName)
const lastBack = new Map();  // browser -> the page's last answer to the back command
const answers = new Map();   // "name\ttext" -> {name, value}
const events = new Map();
const backs = new Map();
const replies = new Map();   // "command\ttext" -> {command, value}
let unparsed = 0;
// The sample helper reads desktop answers as a page does.
const desktopScript = fs.readFileSync(path.join(root, 'pages', 'tavrin5main', 'tn-desktop.js'), 'utf8');
const sandbox = {window: {}, TextEncoder, TextDecoder, Uint8Array, DataView};
vm.runInNewContext(desktopScript, sandbox);
const desktop = sandbox.window.TnDesktop;
const origin = desktop.origin;
const entry = /^TavrinJsBridge\._handleMessageFromObjC\('([\s\S]*)'\);$/;
for (const line of fs.readFileSync(record, 'utf8').split('\n')) {
  if (!line) continue;
  const {browser, fetch, script, request, writes} = JSON.parse(line);
  if (request !== undefined) {
    if (!request.startsWith(origin)) continue;
    const command = request.slice(origin.length);
    const body = Buffer.from(writes.join(''), 'hex');
    for (const r of desktop.decodeResponses(new Uint8Array(body))) {
      let data = null;
      if (r.data.length && (command === '/window/init' || command === '/window/open')) {
        data = desktop.decodeWindowData(r.data);
      } else if (r.data.length) {
        try { data = JSON.parse(new TextDecoder().decode(r.data)); } catch { data = r.data; }
      }
      const value = {code: r.code, desc: r.desc, data};
      replies.set(`${command}\t${literal(value)}`, {command, value});
    }
    continue;
  }
  if (!calls.has(browser)) calls.set(browser, new Map());
  const ids = calls.get(browser);
  if (fetch !== undefined) {
    let messages;
    try { messages = JSON.parse(fetch); } catch { continue; }
    if (!Array.isArray(messages)) continue;
    for (const m of messages) {
      if (!m || typeof m !== 'object' || typeof m.handlerName !== 'string') continue;
      if (m.responseData != null) {
        if (m.handlerName === 'ui.onHistoryBack') lastBack.set(browser, m.responseData);
      } else if (typeof m.callbackId === 'string') {
        ids.set(m.callbackId, m.handlerName);
      }
    }
    continue;
  }
  if (script === 'tnpc.goback();' && lastBack.has(browser)) {
    const value = lastBack.get(browser);
    backs.set(JSON.stringify(value), value);
    lastBack.delete(browser);
    continue;
  }
  const match = entry.exec(script);
  if (!match) continue;
  let message;
  try { message = JSON.parse(match[1]); } catch { unparsed++; continue; }  // never arrives
  if (message.responseId !== undefined) {
    const name = ids.get(message.responseId);
    if (name === undefined) continue;
    answers.set(`${name}\t${JSON.stringify(message.responseData)}`,
                {name, value: message.responseData});
  } else if (typeof message.handlerName === 'string') {
    events.set(`${message.handlerName}\t${JSON.stringify(message.data)}`,
               {name: message.handlerName, value: message.data});
  }
}

// Names the tests never had answered, though the declarations say an answer comes.
const answered = new Set([...answers.values()].map((a) => a.name));
const unanswered = [...declared].filter(([n, a]) => a !== 'never' && !answered.has(n)).map(([n]) => n);
if (unanswered.length) {
  console.error(`declarations: no recorded answer of ${unanswered.join(', ')}`);
  process.exit(1);
}

// A value as a TypeScript expression (bytes as a Uint8Array).
function literal(value) {
  if (value instanceof Uint8Array) {  // the helper runs with this realm's Uint8Array
    return `new Uint8Array([${Array.from(value).join(',')}])`;
  }
  if (Array.isArray(value)) return `[${value.map(literal).join(', ')}]`;
  if (value && typeof value === 'object') {
    return `{${Object.entries(value).map(([k, v]) => `${JSON.stringify(k)}: ${literal(v)}`).join(', ')}}`;
  }
  return JSON.stringify(value);
}

const lines = [
  '// Written by scripts/check-declarations.mjs: what the module answered in the tests.',
  `/// <reference path="${path.join(root, 'pages', 'types', 'tavrin-js-bridge.d.ts')}" />`,
  `/// <reference path="${path.join(root, 'pages', 'types', 'tn-desktop.d.ts')}" />`,
  'type ReplyOf<P extends string> = (P extends keyof DesktopReplies ? DesktopReplies[P] : never) | DesktopParamCount | DesktopInvalidApi;',
  'type AnswerOf<N extends string> = N extends keyof SdkFunctions ? SdkFunctions[N][\'answer\'] : SdkUnknownAnswer;',
  'type DataOf<N extends string> = N extends keyof SdkPageHandlers ? SdkPageHandlers[N][\'data\'] : unknown;',
  'type BackAnswer = SdkPageHandlers[\'ui.onHistoryBack\'][\'answer\'];',
];
let n = 0;
for (const {name, value} of answers.values()) {
  lines.push(`export const answer${n++}: AnswerOf<${JSON.stringify(name)}> = ${JSON.stringify(value)};`);
}
for (const {name, value} of events.values()) {
  lines.push(`export const event${n++}: DataOf<${JSON.stringify(name)}> = ${JSON.stringify(value)};`);
}
for (const value of backs.values()) {
  // An answer the module went back for: declared, and it says "go back".
  lines.push(`export const back${n++}: BackAnswer & {data: {result: true}} = ${JSON.stringify(value)};`);
}

for (const {command, value} of replies.values()) {
  lines.push(`export const reply${n++}: ReplyOf<${JSON.stringify(command)}> = ${literal(value)};`);
}

// Shapes the module never gives or never acts on: the declarations must refuse each.
const wrong = [
  ['the back command answered without `data`: claimed, and nothing happens',
   'BackAnswer', '{result: true}'],
  ['a download that failed carries no id', "AnswerOf<'utils.downloadFile'>",
   '{status: {code: 41, message: "ok"}, meta: {}, data: {localId: "res://local/C:/a.pdf"}}'],
  ['template 12 has an empty message', "AnswerOf<'biz.openContactsCard'>",
   '{status: {code: 404, message: "ok"}}'],
  ['template 10 closes the status early: meta and data are not in the answer',
   "AnswerOf<'utils.uploadFileToS3'>", '{status: {code: 0, message: "ok"}, meta: {}, data: {}}'],
  ['the visitor template says "OK"', "AnswerOf<'internal.biz.getVisitorToken'>",
   '{status: {code: 0, message: "ok"}, meta: {}, data: {deviceId: "", center: {userId: "", ' +
   'token: "", domain: "tncenter"}, org: {userId: {oid: 1, uid: 2}, token: "", domain: "tn.org.1"}}}'],
  ['a name the client does not serve answers with a status only', "AnswerOf<'biz.nosuch'>",
   '{status: {code: 0, message: "ok"}, meta: {}, data: {}}'],
  ['progress events take no answer', "SdkPageHandlers['utils.onDownloadProgress']['answer']", '{}'],
  ['/window/havewindow answers 2 for a missing window, never -1', "ReplyOf<'/window/havewindow'>",
   '{code: -1, desc: "", data: null}'],
  ['/window/getwindowtemp names its folder "path"', "ReplyOf<'/window/getwindowtemp'>",
   '{code: 0, desc: "", data: {folder: "/tmp"}}'],
];
for (const [why, type, value] of wrong) {
  lines.push(`// ${why}`, '// @ts-expect-error', `export const wrong${n++}: ${type} = ${value};`);
}
// Calls a page must not be able to write: tsc refuses each (and accepts the right ones beside
// them, so that a refusal is the mistake's and not the line's).
const refusedCalls = [
  ['a name the client does not serve', "TavrinJsBridge.callHandler('media.takePhoto', {payload: {}})"],
  ['a payload of the wrong type', "TavrinJsBridge.callHandler('utils.downloadFile', {payload: {url: 42}})"],
  ['a required field missing', "TavrinJsBridge.callHandler('utils.share', {payload: {title: 't', content: 'c'}})"],
  ['a payload left out where fields are required', "TavrinJsBridge.callHandler('utils.downloadFile', {})"],
  ['a misspelt key', "TavrinJsBridge.callHandler('media.chooseImage', {payload: {cuont: 3}})"],
  ['a payload not wrapped in payload', "TavrinJsBridge.callHandler('utils.downloadFile', {url: 'https://a/b?c=1'})"],
  ['an answer read as another name\'s', "TavrinJsBridge.callHandler('media.chooseImage', {payload: {count: 1}}, (a) => a.data.fileList)"],
  ['a failed download\'s data read as a success', "TavrinJsBridge.callHandler('utils.downloadFile', {payload: {url: 'https://a/b?c=1'}}, (a) => { if (TavrinJsBridge.hasCode(a, 41)) { const id: `res://local/${string}` = a.data.localId; } })"],
];
const rightCalls = [
  "TavrinJsBridge.callHandler('utils.downloadFile', {payload: {url: 'https://a/b?c=1'}}, (a) => { if (TavrinJsBridge.hasCode(a, 0)) { const id: `res://local/${string}` = a.data.localId; } })",
  "TavrinJsBridge.callHandler('media.chooseImage', {}, (a) => { if (TavrinJsBridge.hasCode(a, -7)) { const none: [] = a.data.tempFiles; } })",
  "TavrinJsBridge.callHandler('config', {payload: {appId: '7-1'}}, (a) => { if (TavrinJsBridge.hasCode(a, 62524)) { const c: 62524 = a.status.code; } })",
  "TavrinJsBridge.callUnknown('media.takePhoto', {payload: {}}, (a) => { const c: 0 = a.status.code; })",
];
for (const [why, call] of refusedCalls) {
  lines.push(`// ${why}`, `export function refused${n++}() {`, '  // @ts-expect-error', `  ${call};`, '}');
}
for (const call of rightCalls) lines.push(`export function right${n++}() { ${call}; }`);
// tnwebui-run's own table of the payloads (tools/run/sdk_declarations.cpp), which its --check
// judges pages by: the same names, each with the declared fields and the same required ones.
const table = fs.readFileSync(path.join(root, 'tools', 'run', 'sdk_declarations.cpp'), 'utf8');
const fieldsOf = (text) => [...text.matchAll(/(Req|Opt)\("(\w+)"/g)].map((m) => ({required: m[1] === 'Req', name: m[2]}));
const shared = new Map([...table.matchAll(/const std::vector<SdkField> (\w+) = \{([^;]*)\};/g)]
                           .map((m) => [m[1], fieldsOf(m[2])]));
const tabled = new Map();
for (const m of table.matchAll(/Fields\(\s*"([\w.]+)",\s*(\w+|\{[^}]*\})/g)) {
  tabled.set(m[1], m[2].startsWith('{') ? fieldsOf(m[2]) : shared.get(m[2]) || []);
}
for (const m of table.matchAll(/\{"([\w.]+)", \{\}, true,/g)) tabled.set(m[1], null);  // any object
const union = (names) => names.length ? names.map((n) => JSON.stringify(n)).join(' | ') : 'never';
lines.push('type Same<A, B> = [A] extends [B] ? ([B] extends [A] ? true : false) : false;',
           'type RequiredKeys<T> = {[K in keyof T]-?: {} extends Pick<T, K> ? never : K}[keyof T];');
for (const name of declared.keys()) {
  if (!tabled.has(name)) {
    console.error(`declarations: tnwebui-run's table has no entry for ${name}`);
    process.exit(1);
  }
  const fields = tabled.get(name);
  const payload = `SdkFunctions[${JSON.stringify(name)}]['payload']`;
  if (fields === null) {
    lines.push(`export const table${n++}: Same<${payload}, Record<string, unknown>> = true;`);
    continue;
  }
  lines.push(`export const table${n++}: Same<keyof ${payload}, ${union(fields.map((f) => f.name))}> = true;`,
             `export const table${n++}: Same<RequiredKeys<${payload}>, ${union(fields.filter((f) => f.required).map((f) => f.name))}> = true;`);
}
if (tabled.size !== declared.size) {
  console.error(`declarations: tnwebui-run's table has ${tabled.size} names, the declarations ${declared.size}`);
  process.exit(1);
}
fs.writeFileSync(path.join(out, 'answers.ts'), lines.join('\n') + '\n');
fs.writeFileSync(path.join(out, 'tsconfig.json'), JSON.stringify({
  compilerOptions: {strict: true, noEmit: true, target: 'ES2020', lib: ['ES2020', 'DOM'],
                    types: [], skipLibCheck: false},
  files: [path.join(out, 'answers.ts')],
}, null, 1));
try {
  execFileSync(path.join(root, 'node_modules', '.bin', 'tsc'),
               ['-p', path.join(out, 'tsconfig.json'), '--pretty', 'false'], {stdio: 'inherit'});
} catch {
  console.error(`declarations: the declarations differ from what the module answers or from tnwebui-run's table (${path.join(out, 'answers.ts')})`);
  process.exit(1);
}
const commands = new Set([...replies.values()].map((r) => r.command));
// Commands whose visible replies no test produced: said, for the next test to cover.
const desktopText = fs.readFileSync(path.join(root, 'pages', 'types', 'tn-desktop.d.ts'), 'utf8');
const desktopBlock = desktopText.slice(desktopText.indexOf('interface DesktopReplies {'));
const unseen = [...desktopBlock.matchAll(/^  '([\w/]+)':\s*([^;]+);/gm)]
                   .filter((m) => m[2].trim() !== 'never' && !commands.has(m[1])).map((m) => m[1]);
if (unseen.length) console.log(`declarations: no test saw a reply of ${unseen.join(', ')}`);
console.log(`declarations: ${answers.size} answers of ${answered.size} names, ${events.size} ` +
            `handler calls, ${backs.size} back answers and ${replies.size} desktop replies of ` +
            `${commands.size} addresses type-check, and tnwebui-run's table of the ${tabled.size} ` +
            `payloads agrees; ${wrong.length} wrong shapes and ${refusedCalls.length} wrong ` +
            `calls are refused, ${rightCalls.length} narrowed calls accepted; ${unparsed} answers were no JSON and never reach a page`);
