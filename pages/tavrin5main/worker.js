// A worker reports whether the page's native channel reached it.
var scope = /** @type {any} */ (self);
var native = typeof scope.__tnpcNative === 'function' || typeof scope.tnpc !== 'undefined';
if ('onconnect' in scope) {
  // A shared worker: each page that connects hears it.
  scope.onconnect = function (/** @type {MessageEvent} */ e) { e.ports[0].postMessage({native: native}); };
} else {
  scope.postMessage({native: native});
}
