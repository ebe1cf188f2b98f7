// TavrinJsBridge: the page side of the client's JS SDK, for authors of light apps. A light app
// brings its own copy of this script; the client only fixes the protocol:
//
//   page -> client  the page queues messages and hands the queue over with
//                   window.havFetchJSMessage(text), text being a JSON array of messages;
//   client -> page  the client runs TavrinJsBridge._handleMessageFromObjC(text), text being one
//                   JSON object: an answer {responseId, responseData} to one of the page's calls,
//                   or a call {callbackId, data, handlerName} of a handler of the page's;
//                   TavrinJsBridge._checkHandler(text) tells whether the page has a handler.
//
// A message from the page is {handlerName, callbackId, data} for a call, or
// {handlerName, responseId, responseData} for its answer to one of the client's calls.
//
// Usage:
//   TavrinJsBridge.callHandler('ui.setNavigationBarMenu', {meta: {}, payload: {items: []}},
//       function (response) { ... response.status.code ... });
//   TavrinJsBridge.registerHandler('utils.onDownloadProgress', function (data) { ... });
//   TavrinJsBridge.registerHandler('ui.onHistoryBack', function (data, respond) {
//     respond({data: {result: true}});  // the client goes back in the page's history; false
//   });                                  // keeps the page where it is
(function (global) {
  'use strict';
  if (global.TavrinJsBridge) return;

  var queue = [];      // messages the client has not fetched yet
  var callbacks = {};  // callbackId -> function(responseData)
  var handlers = {};   // handlerName -> function(data, respond)
  var nextId = 1;
  var scheduled = false;

  // Hands everything queued so far to the client in one call.
  function flush() {
    scheduled = false;
    if (!queue.length) return;
    var text = JSON.stringify(queue);
    queue = [];
    global.havFetchJSMessage(text);
  }

  // Queues `message`; the queue goes over once the page's current task is done.
  function send(message) {
    queue.push(message);
    if (!scheduled) {
      scheduled = true;
      setTimeout(flush, 0);
    }
  }

  // Calls the client's function `handlerName`; `callback` gets the answer's responseData.
  function callHandler(handlerName, data, callback) {
    var message = {handlerName: handlerName, data: data === undefined ? {} : data};
    if (callback) {
      message.callbackId = 'cb_' + (nextId++) + '_' + Date.now();
      callbacks[message.callbackId] = callback;
    }
    send(message);
  }

  // `handler(data, respond)` serves the client's calls of `handlerName` (progress and playing
  // events, the back command).
  function registerHandler(handlerName, handler) {
    handlers[handlerName] = handler;
  }

  function _handleMessageFromObjC(text) {
    var message = JSON.parse(text);
    if (message.responseId) {
      var callback = callbacks[message.responseId];
      if (!callback) return;
      delete callbacks[message.responseId];
      callback(message.responseData);
      return;
    }
    var handler = handlers[message.handlerName];
    if (!handler) return;
    var respond = function (responseData) {
      if (!message.callbackId) return;
      send({handlerName: message.handlerName, responseId: message.callbackId,
            responseData: responseData === undefined ? {} : responseData});
    };
    handler(message.data, respond);
  }

  function _checkHandler(text) {
    var message = JSON.parse(text);
    return JSON.stringify({result: !!handlers[message.handlerName]});
  }

  /**
   * Whether an answer has the status code `code`.
   * @template {{status: {code: number}}} A
   * @template {A['status']['code']} C
   * @param {A} answer
   * @param {C} code
   * @returns {answer is SdkWithCode<A, C>}
   */
  function hasCode(answer, code) {
    return !!answer && typeof answer === 'object' && !!answer.status &&
        answer.status.code === code;
  }

  global.TavrinJsBridge = {
    callHandler: callHandler,
    // A name the declarations don't know, called as it stands.
    callUnknown: callHandler,
    hasCode: hasCode,
    registerHandler: registerHandler,
    // Queues a message as it stands (for tests of the protocol itself).
    sendRaw: send,
    flush: flush,
    _handleMessageFromObjC: _handleMessageFromObjC,
    _checkHandler: _checkHandler
  };
})(window);
