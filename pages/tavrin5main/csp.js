// A light app under a strict Content Security Policy (sent with the page, see the .headers
// files): tnpc answers within its calls, and the policy still refuses what it governs.
(function () {
  var r = window.results = /** @type {any} */ ({});
  var violations = [];
  document.addEventListener('securitypolicyviolation', function (e) {
    violations.push(e.violatedDirective + ' ' + e.blockedURI);
  });
  r.canGoBack = typeof tnpc.cangoback();
  var inside = null;
  tnpc.exebusinessaction('{"api":"biz.nosuch"}', function (answer) { inside = answer; });
  r.errorInsideCall = inside;
  // The page's own request to another origin.
  r.foreignRequestRefused = false;
  try {
    var x = new XMLHttpRequest();
    x.open('GET', 'https://tavrin5.frames.invalid/frame.html', false);
    x.send();
  } catch (e) {
    r.foreignRequestRefused = true;
  }
  // A script the page writes inline (for a look: its policy decides).
  window.inlineRan = false;
  var s = document.createElement('script');
  s.textContent = 'window.inlineRan = true;';
  document.head.appendChild(s);
  r.inlineScriptRan = window.inlineRan;
  setTimeout(function () {
    r.violations = violations;
    r.success = r.canGoBack === 'boolean' && /NOT_SUPPORTED/.test(r.errorInsideCall || '') &&
                r.foreignRequestRefused;
    r.done = true;
  }, 200);
})();
