#pragma once

// What tnwebui-run checks inside the app's documents, where the client's answer is silence:
// a classic tnpc.exebusinessaction whose texts are not texts (an object for its JSON) matches
// neither form of the call and does nothing. The script runs after the client's own in every
// document and reports through console.error with kPageCheckMark before its text.

namespace run {

constexpr char kPageCheckMark[] = "[tnwebui-run] ";

constexpr char kPageChecks[] = R"JS((function () {
  var tnpc = window.tnpc;
  if (!tnpc || typeof tnpc.exebusinessaction !== 'function') return;
  var call = tnpc.exebusinessaction;
  var report = console.error.bind(console);
  var names = ['business', 'action', 'param', 'json'];
  var kind = function (v) {
    return v === null ? 'null' : Array.isArray(v) ? 'an array' : typeof v === 'object' ? 'an object' : 'a ' + typeof v;
  };
  var checked = function () {
    var a = arguments;
    if (a.length === 6) {
      for (var i = 0; i < 4; i++) {
        if (typeof a[i] !== 'string') {
          report('[tnwebui-run] tnpc.exebusinessaction(' + String(a[0]) + ', ' + String(a[1]) +
                 '): its ' + names[i] + ' is ' + kind(a[i]) + ', not a text: the call does nothing' +
                 (i === 3 ? ' (pass JSON.stringify of it)' : ''));
          break;
        }
      }
    } else if (a.length === 2 && typeof a[0] !== 'string') {
      report('[tnwebui-run] tnpc.exebusinessaction: the SDK form\'s request is ' + kind(a[0]) +
             ', not a JSON text: the call does nothing (pass JSON.stringify of it)');
    } else if (a.length !== 6 && a.length !== 2) {
      report('[tnwebui-run] tnpc.exebusinessaction with ' + a.length +
             ' arguments: it takes 6 (the classic form) or 2 (the SDK form); the call does nothing');
    }
    return call.apply(this, a);
  };
  try {
    tnpc.exebusinessaction = checked;
  } catch (e) {}
})();)JS";

}  // namespace run
