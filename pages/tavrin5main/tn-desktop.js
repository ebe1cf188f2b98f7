// TnDesktop: a page's desktop commands. A command is a POST to a path under the desktop origin
// whose body is a serialised ParamList; the answer is one serialised Response, or several one
// after the other (a command may write more than once).
//
// The protobuf wire format is written by hand here: the four messages a page needs are small,
// and a page should not need a package of its own to speak to its window.
//
// Usage:
//   TnDesktop.send('/window/setwindowsize', [{intVal: 0}, {intVal: 0}, {intVal: 640}, {intVal: 480}])
//     .then(function (responses) { ... responses[0].code ... });
//   TnDesktop.send('/window/init').then(function (r) {
//     var window = TnDesktop.decodeWindowData(r[0].data); ... });
(function (global) {
  'use strict';
  var ORIGIN = 'https://tnpc-desktop.invalid';
  var utf8 = new TextEncoder();
  var fromUtf8 = new TextDecoder();

  function Writer() { this.bytes = []; }
  // A varint of an int32 (negative ones take ten bytes, as protobuf writes them).
  Writer.prototype.varint = function (n) {
    var lo = n >>> 0, hi = n < 0 ? 0xffffffff : 0;
    while (hi !== 0 || lo > 127) {
      this.bytes.push((lo & 127) | 128);
      lo = ((lo >>> 7) | ((hi & 127) << 25)) >>> 0;
      hi = hi >>> 7;
    }
    this.bytes.push(lo);
  };
  Writer.prototype.tag = function (field, wire) { this.varint((field << 3) | wire); };
  Writer.prototype.blob = function (field, u8) {
    this.tag(field, 2);
    this.varint(u8.length);
    for (var i = 0; i < u8.length; i++) this.bytes.push(u8[i]);
  };

  function encodeItem(item) {
    var w = new Writer();
    if ('intVal' in item) { w.tag(1, 0); w.varint(item.intVal | 0); }
    else if ('doubleVal' in item) {
      var d = new DataView(new ArrayBuffer(8));
      d.setFloat64(0, item.doubleVal, true);
      w.tag(2, 1);
      for (var i = 0; i < 8; i++) w.bytes.push(d.getUint8(i));
    }
    else if ('stringVal' in item) w.blob(3, utf8.encode(item.stringVal));
    else if ('boolVal' in item) { w.tag(4, 0); w.varint(item.boolVal ? 1 : 0); }
    else if ('bytesVal' in item) w.blob(5, item.bytesVal);
    return new Uint8Array(w.bytes);
  }

  // A ParamList of `items` ({intVal}, {doubleVal}, {stringVal}, {boolVal}, {bytesVal}).
  function encodeParamList(items, oid, callId) {
    var w = new Writer();
    if (oid) { w.tag(1, 0); w.varint(oid); }
    if (callId) w.blob(2, utf8.encode(callId));
    (items || []).forEach(function (item) { w.blob(3, encodeItem(item)); });
    return new Uint8Array(w.bytes);
  }

  // Calls `visit(field, value, start, end)` for each field of a message, with the field's byte
  // range; a varint's value is its int32, a length-delimited one's its bytes. Stops at
  // malformed input: what was read stands.
  function fields(u8, visit) {
    var pos = 0;
    function varint() {
      var lo = 0, shift = 0, b;
      do {
        if (pos >= u8.length) throw new Error('truncated');
        b = u8[pos++];
        if (shift < 32) lo |= (b & 127) << shift;
        shift += 7;
      } while (b & 128);
      return lo | 0;
    }
    try {
      while (pos < u8.length) {
        var start = pos, tag = varint() >>> 0, field = tag >>> 3, wire = tag & 7, value;
        if (wire === 0) value = varint();
        else if (wire === 1) { value = new DataView(u8.buffer, u8.byteOffset + pos, 8).getFloat64(0, true); pos += 8; }
        else if (wire === 2) { var n = varint(); value = u8.subarray(pos, pos + n); pos += n; }
        else if (wire === 5) { pos += 4; continue; }
        else return;
        if (pos > u8.length) return;
        visit(field, value, start, pos);
      }
    } catch (e) { /* a cut message */ }
  }

  function decodeResponse(u8) {
    var r = {code: 0, desc: '', data: new Uint8Array(0)};
    fields(u8, function (f, v) {
      if (f === 1) r.code = v; else if (f === 2) r.desc = fromUtf8.decode(v); else if (f === 3) r.data = v;
    });
    return r;
  }

  // The Responses of one answer, one after the other: a message starts again where the field
  // numbers stop rising. (A Response whose fields are all empty writes no bytes: it can't be
  // seen.)
  function decodeResponses(u8) {
    var starts = [], last = 0, end = 0;
    fields(u8, function (f, v, start, stop) {
      if (!starts.length || f <= last) starts.push(start);
      last = f;
      end = stop;
    });
    if (!starts.length) return [];  // nothing written (or only empty Responses)
    return starts.map(function (s, i) {
      return decodeResponse(u8.subarray(s, i + 1 < starts.length ? starts[i + 1] : end));
    });
  }

  function decodeItem(u8) {
    var item = {};
    fields(u8, function (f, v) {
      if (f === 1) item.intVal = v; else if (f === 2) item.doubleVal = v;
      else if (f === 3) item.stringVal = fromUtf8.decode(v); else if (f === 4) item.boolVal = v !== 0;
      else if (f === 5) item.bytesVal = v;
    });
    return item;
  }

  function bool(w, field, value) { w.tag(field, 0); w.varint(value ? 1 : 0); }
  function int(w, field, value) { if (value) { w.tag(field, 0); w.varint(value | 0); } }
  function text(w, field, value) { if (value) w.blob(field, utf8.encode(value)); }

  // A TavrinWindowData: {id, oid, name, openurl, extra_params: {key: item}}.
  function encodeWindowData(d) {
    var w = new Writer();
    int(w, 1, d.id);
    int(w, 2, d.oid);
    text(w, 4, d.name);
    text(w, 5, d.openurl);
    Object.keys(d.extra_params || {}).forEach(function (key) {
      var entry = new Writer();
      entry.blob(1, utf8.encode(key));
      entry.blob(2, encodeItem(d.extra_params[key]));
      w.blob(6, new Uint8Array(entry.bytes));
    });
    return new Uint8Array(w.bytes);
  }

  // A WindowProperty: {title, pos: {pos_type, x, y, width, height}, show_titlebar, resize};
  // absent keys stay unset.
  function encodeWindowProperty(p) {
    var w = new Writer();
    if ('title' in p) w.blob(2, utf8.encode(p.title));
    if (p.pos) {
      var pos = new Writer();
      text(pos, 1, p.pos.pos_type);
      int(pos, 2, p.pos.x);
      int(pos, 3, p.pos.y);
      int(pos, 4, p.pos.width);
      int(pos, 5, p.pos.height);
      w.blob(3, new Uint8Array(pos.bytes));
    }
    if ('show_titlebar' in p) bool(w, 4, p.show_titlebar);
    if ('resize' in p) bool(w, 6, p.resize);
    return new Uint8Array(w.bytes);
  }

  function decodeWindowData(u8) {
    var d = {id: 0, oid: 0, uid: 0, name: '', openurl: '', extra_params: {}};
    fields(u8, function (f, v) {
      if (f === 1) d.id = v; else if (f === 2) d.oid = v; else if (f === 3) d.uid = v;
      else if (f === 4) d.name = fromUtf8.decode(v); else if (f === 5) d.openurl = fromUtf8.decode(v);
      else if (f === 6) {
        var key = '', value = {};
        fields(v, function (ef, ev) {
          if (ef === 1) key = fromUtf8.decode(ev); else if (ef === 2) value = decodeItem(ev);
        });
        d.extra_params[key] = value;
      }
    });
    return d;
  }

  // Sends the command `path` with `items`; resolves to its Responses, rejects on a network
  // error (an address that nothing serves). `body` (bytes) replaces the ParamList if given.
  function send(path, items, body) {
    return fetch(ORIGIN + path, {method: 'POST', body: body || encodeParamList(items)})
        .then(function (r) { return r.arrayBuffer(); })
        .then(function (b) { return decodeResponses(new Uint8Array(b)); });
  }

  global.TnDesktop = {
    origin: ORIGIN,
    send: send,
    encodeParamList: encodeParamList,
    decodeResponse: decodeResponse,
    decodeResponses: decodeResponses,
    decodeWindowData: decodeWindowData,
    encodeWindowData: encodeWindowData,
    encodeWindowProperty: encodeWindowProperty
  };
})(window);
