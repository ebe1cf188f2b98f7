// The page-side part of the render side: the script that every document runs at its start. It
// keeps the table of the document's function handles and encodes values both ways.

#include <string>

namespace xhav::cdp {

namespace {

constexpr char kShim[] = R"JS(
(function () {
  if (window.__tnpcShim) return;
  var handles = [];
  var send = window.__tnpcNative;
  // Captured at document start: pages may patch them.
  var stringify = JSON.stringify, parse = JSON.parse, XHR = window.XMLHttpRequest;
  var beacon = navigator.sendBeacon && navigator.sendBeacon.bind(navigator);
  var context = 0, key = '';
  var ask = window.prompt && window.prompt.bind(window);
  // A page's window.close() closes its window as a close of the window does: the view is asked
  // first (a view that hides on close keeps its window), so the document's own close is kept
  // from it. (A frame's close never closes the window.)
  if (window === window.top && typeof send === 'function') {
    try {
      Object.defineProperty(window, 'close', {
        value: function close() { send('{"close":true}'); },
        writable: false, configurable: false, enumerable: true
      });
    } catch (e) {}
  }
  // A call waits for its answer: a synchronous request to the reserved origin, or, once the
  // document's policy has refused that origin (its hello tells), a prompt that the engine
  // answers (a channel that no Content Security Policy governs). Requests come first: a
  // dialog in a document that a navigation is overtaking holds up both for good, and a frame's
  // dialog is raised by its page. Functions that native code runs within the call come back
  // with the answer and run before the call returns. A page going away may not wait (the
  // browser refuses both then): a beacon carries the call, or else the binding. (No listener
  // of page-hide here: one holds up the closing of a page.)
  var viaRequest = true, lost = false;
  function request(path, body) {
    try {
      var x = new XHR();
      x.open('POST', 'https://tnpc-call.pages.invalid/' + path, false);
      x.setRequestHeader('Content-Type', 'text/plain');
      x.send(body);
      return x.responseText;
    } catch (e) {
      return null;
    }
  }
  // A prompt's text is cut at 10240 code units: a longer body goes in parts, each cut outside
  // a surrogate pair. The answer of the last part is the call's answer.
  var kPart = 10000;
  function prompted(path, body) {
    if (!ask) return null;
    var at = 0;
    while (body.length - at > kPart) {
      var end = at + kPart;
      var c = body.charCodeAt(end - 1);
      if (c >= 0xd800 && c <= 0xdbff) end--;
      if (ask('tnpc-part\n' + body.slice(at, end)) === null) return null;
      at = end;
    }
    var answer = ask('tnpc-' + path + '\n' + body.slice(at));
    return typeof answer === 'string' ? answer : null;
  }
  // Either way failing, the other is tried, and the one that answered stays the first.
  function exchange(path, body) {
    var first = viaRequest;
    var text = first ? request(path, body) : prompted(path, body);
    if (text === null && !leaving()) {
      viaRequest = !first;
      text = viaRequest ? request(path, body) : prompted(path, body);
    }
    // Neither way answers: the engine's log says so, once.
    if (text === null && !lost && !leaving() && typeof send === 'function') {
      lost = true;
      send('{"lost":true}');
    }
    try {
      return text === null ? null : parse(text);
    } catch (e) {
      return null;
    }
  }
  // Every call has its number in the document: calls that need no answer within go by the
  // binding, the others as requests, and the engine runs them in the order of their numbers.
  var seq = 0;
  var unanswered = {minwnd: 1, maxwnd: 1, closewnd: 1, forceclosewnd: 1, restorewnd: 1,
      refresh: 1, goback: 1, goforward: 1, registerEvent: 1, unregisterEvent: 1, sendEvent: 1};
  function answered(name, count) {
    if (name === 'exebusinessaction') return count !== 6;  // its SDK form answers within
    return !Object.prototype.hasOwnProperty.call(unanswered, name);
  }
  function leaving() {
    var e = window.event;
    return !!e && (e.type === 'pagehide' || e.type === 'unload' || e.type === 'beforeunload');
  }
  function call(name, args) {
    var body = stringify({seq: ++seq, ctx: context, key: key, fn: name, args: args});
    // Chromium drops the binding calls of a document that goes away: a call from the page's
    // handler of its leaving takes the request's way, and so a beacon's.
    if (typeof send === 'function' && !answered(name, args.length) && !leaving()) {
      send(body);
      return undefined;
    }
    var reply = exchange('call', body);
    if (reply === null) {
      if (!(beacon && beacon('https://tnpc-call.pages.invalid/beacon', body))) send(body);
      return undefined;
    }
    (reply.deferred || []).forEach(function (d) { window.__tnpcShim.run(d.h, d.a); });
    return reply.handled ? decode(reply.ret) : undefined;
  }
  // A string with a lone surrogate is no valid UTF-8 on the way: it travels as code units.
  var loneSurrogate = /[\ud800-\udbff](?![\udc00-\udfff])|(?:[^\ud800-\udbff]|^)[\udc00-\udfff]/;
  // `outer`: the arrays that hold this value; an array that holds itself goes as undefined.
  function encode(v, outer) {
    if (typeof v === 'string') {
      if (!loneSurrogate.test(v)) return {t: 's', v: v};
      var units = [];
      for (var i = 0; i < v.length; i++) units.push(v.charCodeAt(i));
      return {t: 'w', v: units};
    }
    if (typeof v === 'number') {
      if ((v | 0) === v && !Object.is(v, -0)) return {t: 'i', v: v};
      // JSON has no -0, NaN or infinities: they travel as words.
      if (Object.is(v, -0) || v !== v || v === Infinity || v === -Infinity) return {t: 'x', v: String(v === 0 ? '-0' : v)};
      return {t: 'd', v: v};
    }
    if (typeof v === 'boolean') return {t: 'b', v: v};
    if (v === null) return {t: 'n'};
    if (typeof v === 'undefined') return {t: 'u'};
    if (typeof v === 'function') { handles.push(v); return {t: 'f', h: handles.length - 1, n: v.name || ''}; }
    if (Array.isArray(v)) {
      outer = outer || [];
      if (outer.indexOf(v) >= 0) return {t: 'u'};
      var inner = outer.concat([v]);
      return {t: 'a', v: v.map(function (e) { return encode(e, inner); })};
    }
    return {t: 'o'};
  }
  function encodeAll(list) {
    return Array.prototype.map.call(list, function (v) { return encode(v); });
  }
  function decode(v) {
    if (v.t === 'ab') {
      var bin = atob(v.v), bytes = new Uint8Array(bin.length);
      for (var i = 0; i < bin.length; i++) bytes[i] = bin.charCodeAt(i);
      return bytes.buffer;
    }
    if (v.t === 'w') {
      var text = '';
      for (var j = 0; j < v.v.length; j++) text += String.fromCharCode(v.v[j]);
      return text;
    }
    if (v.t === 'u') return undefined;
    if (v.t === 'x') return v.v === '-0' ? -0 : Number(v.v);
    if (v.t === 'n') return null;
    return v.v;
  }
  window.__tnpcShim = {
    install: function (names, ctx, k) {
      if (context === ctx && key === k) return;  // the object of this document is in place
      var object = {};
      context = ctx;
      key = k;
      names.forEach(function (name) {
        object[name] = function () {
          return call(name, encodeAll(arguments));
        };
      });
      window.tnpc = window.Tavrin = object;
    },
    // A function that an extension declares as native: its handler answers within the call.
    native: function (name, args) {
      return call('native:' + name, encodeAll(args));
    },
    run: function (handle, args) {
      var f = handles[handle];
      if (typeof f === 'function') f.apply(null, args.map(decode));
    }
  };
  // The native side may have come first in this document: it installs the object itself.
  if (window.__tnpcNames) return;
  // The native object is there from the page's first line: the document asks for it before any
  // page script runs. The binding tells the engine which document asks (its call carries the
  // execution context); the request waits for the object's functions.
  if (typeof send !== 'function') return;
  var hello = stringify({hello: Math.random().toString(36).slice(2) + Date.now().toString(36)});
  send(hello);
  var reply = exchange('hello', hello);
  // Without an answer the object comes from the native side once the document is known there.
  if (reply && reply.handled && reply.names && typeof reply.key === 'string')
    window.__tnpcShim.install(reply.names, reply.ctx, reply.key);
})();
)JS";

}  // namespace

std::string ShimScript() { return kShim; }

}  // namespace xhav::cdp
