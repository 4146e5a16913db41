// The page's half of the bridge, run at document start: xp_native(method, args) returns a promise that native code
// settles through xp_native.response or xp_native.failure.

function xp_native(method, args) {
  var id = Math.floor(Math.random() * 1000000000) + 1;
  var record = {};
  record.promise = new Promise(function (resolve, reject) {
    record.resolve = resolve;
    record.reject = reject;
  });
  record.payload = JSON.stringify({ method: method, args: args, id: id });
  // Deliberate: ids are not checked for collisions. Two calls that draw the same one are a matter of luck in a
  // thousand million; a check would have to keep answered ids as well, to tell a late answer from a fresh one.
  xp_native.promises[id] = record;
  window.webkit.messageHandlers.xp_native.postMessage({ id: id, payload: record.payload });
  return record.promise;
}

// Requests that wait for their answer, by id.
xp_native.promises = {};

// The character code at a place of a waiting request's payload; 0 past its end and for anything unknown.
xp_native.forklift = function (id, index) {
  var record = id ? xp_native.promises[id] : undefined;
  if (record && record.payload && index >= 0 && index < record.payload.length) {
    try {
      return record.payload.charCodeAt(index);
    } catch (error) {
      return 0;
    }
  }
  return 0;
};

xp_native.response = function (id, result) {
  var record = id ? xp_native.promises[id] : undefined;
  if (record) {
    delete xp_native.promises[id];
    try {
      record.resolve(result);
    } catch (error) {
      record.reject("parse error: " + error);
    }
  }
};

xp_native.failure = function (id, error) {
  var record = xp_native.promises[id];
  if (record) {
    delete xp_native.promises[id];
    record.reject("error: " + error);
  }
};
