// The settings page: asks the native side who and where this computer is and shows the answers. Every text that a
// person reads stands in setup.html; this script only chooses among them.
//
//   document.documentElement.dataset.state   "loading"; "live" when every answer is in; "unreachable"
//   document.documentElement.dataset.mood    what the page says: "loading", "connected", "disconnected", "unreachable"
//   window.corvane_received                  what each method last answered, by method name
"use strict";

(() => {
  const methods = ["conn-info", "host-info", "capabilities"];
  const refresh_pause_ms = 30000;

  const root = document.documentElement;
  const element = (id) => document.getElementById(id);
  const received = Object.fromEntries(methods.map((method) => [method, undefined]));
  window.corvane_received = received;

  let round = 0;
  let timer = 0;

  // A method that fails, or is not there at all, counts as one that has nothing to say.
  async function ask(method) {
    try {
      return (await window.xp_native(method)) ?? {};
    } catch {
      return {};
    }
  }

  function show_fields(method) {
    const answer = received[method] ?? {};
    for (const field of document.querySelectorAll(`[data-method="${method}"]`)) {
      const text = String(answer[field.dataset.key] ?? "");
      field.textContent = text;
      field.title = text;
      field.classList.toggle("missing", text === "");
    }
    element("version").hidden = !received["capabilities"]?.version;
  }

  function show_state(state, mood) {
    root.dataset.state = state;
    root.dataset.mood = mood;
    document.querySelector(".facts").setAttribute("aria-busy", String(state === "loading"));
    for (const id of ["headline", "explanation"]) {
      const text = element(id).dataset[mood];
      // Writing the same text again would make a screen reader repeat it.
      if (element(id).textContent !== text) element(id).textContent = text;
    }
    element("retry").hidden = state !== "unreachable";
  }

  // The daemon is there when the connection's state has come. While only the host's empty answer has, the connection's
  // own answer cannot be far from failing too (it asks the daemon twice, each time up to 20 seconds): say so now, and
  // take it back should it answer after all.
  function judge(answers) {
    const connected = answers["conn-info"]?.connected;
    const silent = (method) => answers[method] !== undefined && Object.keys(answers[method]).length === 0;
    if (connected !== undefined) {
      const complete = methods.every((method) => method in answers);
      const already = root.dataset.state === "live";
      show_state(complete || already ? "live" : "loading", connected ? "connected" : "disconnected");
    } else if ("conn-info" in answers || silent("host-info")) {
      show_state("unreachable", "unreachable");
    }
  }

  // Asks everything once. Answers of a round that a newer one has overtaken are dropped.
  async function refresh() {
    const mine = ++round;
    const answers = {};
    clearTimeout(timer);
    await Promise.all(methods.map(async (method) => {
      const answer = await ask(method);
      if (mine !== round) return;
      answers[method] = answer;
      received[method] = answer;
      show_fields(method);
      judge(answers);
    }));
    if (mine === round) timer = setTimeout(refresh, refresh_pause_ms);
  }

  function retry() {
    show_state("loading", "loading");
    // The button has gone from under the focus: hand it to the news.
    element("headline").focus();
    refresh();
  }

  // Called by the native side when what the page may offer has changed.
  window.refresh_capabilities = async () => {
    received["capabilities"] = await ask("capabilities");
    show_fields("capabilities");
  };

  element("retry").addEventListener("click", retry);
  refresh();
})();
