// A worker reports whether the page's native channel reached it.
var native = typeof self.__tnpcNative === 'function' || typeof self.tnpc !== 'undefined';
if (typeof onconnect !== 'undefined' || typeof SharedWorkerGlobalScope !== 'undefined') {
  self.onconnect = function (e) { e.ports[0].postMessage({native: native}); };
} else {
  self.postMessage({native: native});
}
