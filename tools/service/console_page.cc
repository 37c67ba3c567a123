#include "service/console_page.h"

namespace tessarin::service {
namespace {

// Plain HTML, CSS and script, written to be read: no build step, nothing
// loaded from elsewhere (a developer may well be offline, and the page's
// Content-Security-Policy forbids it anyway).
//
// The page draws /console.json. Every entry there carries an id that never
// changes, so an update only adds the new entries' nodes and drops the ones
// the service no longer keeps: what the reader unfolded stays unfolded.
constexpr std::string_view kPage = R"page(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Tessarin local service</title>
<style>
:root {
  color-scheme: light dark;
  --bg: #f5f6f8; --card: #fff; --fg: #1c2130; --muted: #5d6878; --line: #dde1e7;
  --accent: #2a64d6; --bad: #c0392b; --good: #1e7e34; --code: #eff1f4;
}
@media (prefers-color-scheme: dark) {
  :root {
    --bg: #121419; --card: #1c1f26; --fg: #e5e8ec; --muted: #9aa4b0; --line: #2d323c;
    --accent: #80aaff; --bad: #ff7b6b; --good: #62d38c; --code: #262a33;
  }
}
* { box-sizing: border-box; }
html { -webkit-text-size-adjust: 100%; }
body {
  margin: 0; background: var(--bg); color: var(--fg);
  font: 14px/1.45 system-ui, sans-serif;
  overflow-wrap: anywhere;
}
header {
  position: sticky; top: 0; z-index: 1; background: var(--card);
  border-bottom: 1px solid var(--line); padding: 8px 12px;
}
.top { display: flex; flex-wrap: wrap; align-items: baseline; gap: 2px 12px; }
h1 { font-size: 16px; margin: 0; }
.status { font-size: 13px; color: var(--muted); }
.status::before { content: "\25CF"; margin-right: 4px; }
.status.live::before { color: var(--good); }
.status.polling::before { color: #d39e00; }
.status.offline::before { color: var(--bad); }
nav { display: flex; flex-wrap: wrap; gap: 4px 6px; margin-top: 6px; }
nav a {
  color: var(--accent); text-decoration: none; font-size: 13px; white-space: nowrap;
  padding: 1px 8px; border: 1px solid var(--line); border-radius: 999px;
}
main {
  max-width: 1280px; margin: 0 auto; padding: 12px;
  display: grid; grid-template-columns: minmax(0, 1fr); gap: 12px;
}
@media (max-width: 600px) {
  header { position: static; }
}
@media (min-width: 960px) {
  main { grid-template-columns: repeat(2, minmax(0, 1fr)); }
  .wide { grid-column: 1 / -1; }
}
section {
  background: var(--card); border: 1px solid var(--line); border-radius: 8px;
  padding: 10px 12px; min-width: 0; scroll-margin-top: 96px;
}
h2 { font-size: 15px; margin: 0 0 6px; }
.count { color: var(--muted); font-weight: normal; font-size: 13px; margin-left: 6px; }
.hint { color: var(--muted); font-size: 12px; margin: 0 0 6px; }
.empty { color: var(--muted); font-style: italic; margin: 0; }
ol.list { list-style: none; margin: 0; padding: 0; }
ol.list > li { border-top: 1px solid var(--line); padding: 6px 0; min-width: 0; }
ol.list > li:first-child { border-top: 0; }
.line { display: flex; flex-wrap: wrap; gap: 2px 8px; align-items: baseline; }
.time { color: var(--muted); font-size: 12px; font-variant-numeric: tabular-nums; }
.name { font-weight: 600; }
.tag { font-size: 12px; padding: 0 6px; border-radius: 4px; background: var(--code); color: var(--muted); }
.tag.bad { background: var(--bad); color: #fff; }
.tag.good { background: var(--good); color: #fff; }
dl.kv {
  display: grid; grid-template-columns: fit-content(40%) minmax(0, 1fr);
  gap: 1px 10px; margin: 4px 0 0;
  font: 12px/1.4 ui-monospace, SFMono-Regular, Menlo, Consolas, monospace;
}
dl.kv dt { color: var(--muted); }
dl.kv dd { margin: 0; min-width: 0; white-space: pre-wrap; }
@media (max-width: 480px) {
  dl.kv { grid-template-columns: minmax(0, 1fr); }
  dl.kv dd { padding-left: 1em; }
}
pre {
  margin: 4px 0 0; padding: 6px 8px; background: var(--code); border-radius: 6px;
  font: 12px/1.4 ui-monospace, SFMono-Regular, Menlo, Consolas, monospace;
  white-space: pre-wrap; overflow-wrap: anywhere; max-height: 24em; overflow: auto;
}
summary { cursor: pointer; color: var(--muted); font-size: 12px; margin-top: 4px; }
input[type=search] {
  width: 100%; max-width: 360px; margin: 0 0 6px; padding: 4px 8px; font: inherit;
  color: var(--fg); background: var(--bg); border: 1px solid var(--line); border-radius: 6px;
}
ol.screens {
  display: grid; grid-template-columns: repeat(auto-fill, minmax(min(100%, 240px), 1fr));
  gap: 12px; list-style: none; margin: 0; padding: 0;
}
ol.screens > li { min-width: 0; }
ol.screens img {
  display: block; width: 100%; height: auto; max-height: 70vh; object-fit: contain;
  background: var(--code); border: 1px solid var(--line); border-radius: 6px;
}
[hidden] { display: none !important; }
</style>
</head>
<body>
<header>
  <div class="top">
    <h1>Tessarin local service</h1>
    <span id="status" class="status offline">Connecting</span>
  </div>
  <nav>
    <a href="#configRequests">Configuration</a>
    <a href="#events">Events</a>
    <a href="#campaigns">Campaigns</a>
    <a href="#stats">Statistics</a>
    <a href="#connects">Designer</a>
    <a href="#screens">Screens</a>
    <a href="#requests">Requests</a>
  </nav>
</header>
<main>
  <section id="configRequests">
    <h2>Configuration requests<span class="count"></span></h2>
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
  <section id="connects">
    <h2>Designer connections<span class="count"></span></h2>
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
  <section id="events" class="wide">
    <h2>Events<span class="count"></span></h2>
    <p class="hint">Newest first. The keys every event carries are folded under &ldquo;Base keys&rdquo;.</p>
    <input type="search" id="filter" placeholder="Filter events" aria-label="Filter events">
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
  <section id="campaigns">
    <h2>Campaigns answered<span class="count"></span></h2>
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
  <section id="stats">
    <h2>Statistics<span class="count"></span></h2>
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
  <section id="screens" class="wide">
    <h2>Screens<span class="count"></span></h2>
    <p class="empty">None yet.</p>
    <ol class="screens"></ol>
  </section>
  <section id="requests" class="wide">
    <h2>Requests<span class="count"></span></h2>
    <p class="hint">Every request the SDK made, with the status it was answered with.</p>
    <p class="empty">None yet.</p>
    <ol class="list"></ol>
  </section>
</main>
<script>
(function () {
  "use strict";

  var shown = null;      // "instance:version" on the page
  var instance = null;
  var loading = false;
  var reload = false;
  var stream = null;
  var statusNode = document.getElementById("status");
  var filterNode = document.getElementById("filter");
  var STATS = { i: "impression", c: "click", d: "dismissal" };

  function el(tag, className, text) {
    var node = document.createElement(tag);
    if (className) node.className = className;
    if (text !== undefined && text !== null) node.textContent = String(text);
    return node;
  }
  function two(n) { return (n < 10 ? "0" : "") + n; }
  function clock(ms) {
    var d = new Date(ms);
    return two(d.getHours()) + ":" + two(d.getMinutes()) + ":" + two(d.getSeconds()) + "." +
        String(1000 + d.getMilliseconds()).slice(1);
  }
  function compact(value) { return typeof value === "string" ? value : JSON.stringify(value); }
  function pretty(value) { return JSON.stringify(value, null, 2); }
  function setStatus(kind, text) { statusNode.className = "status " + kind; statusNode.textContent = text; }

  function line(item, name) {
    var node = el("div", "line");
    var time = el("span", "time", clock(item.time));
    time.title = new Date(item.time).toString();
    node.appendChild(time);
    if (name) node.appendChild(el("span", "name", name));
    return node;
  }
  function tag(parent, text, kind) { parent.appendChild(el("span", kind ? "tag " + kind : "tag", text)); }
  function statusTag(parent, status, dropped) {
    if (dropped) tag(parent, status + ", cut off", "bad");
    else if (status < 200 || status >= 300) tag(parent, String(status), status === 304 ? "" : "bad");
  }
  function keyValues(object, skip) {
    var list = el("dl", "kv");
    Object.keys(object).forEach(function (key) {
      if (key === skip) return;
      list.appendChild(el("dt", null, key));
      list.appendChild(el("dd", null, compact(object[key])));
    });
    return list;
  }
  function folded(summary, content, open) {
    var node = el("details");
    node.appendChild(el("summary", null, summary));
    node.appendChild(content);
    if (open) node.open = true;
    return node;
  }

  function configRequest(item) {
    var li = el("li");
    var head = line(item, (item.params || []).join(" / ") || "(no parameters)");
    tag(head, item.dataset);
    if (item.status === 304) tag(head, "304 not modified");
    else statusTag(head, item.status);
    li.appendChild(head);
    if (item.ifModifiedSince) li.appendChild(el("div", "hint", "If-Modified-Since " + item.ifModifiedSince));
    if (item.reason) li.appendChild(el("div", "hint", item.reason));
    if (item.answer !== undefined) li.appendChild(folded("Configuration served", el("pre", null, pretty(item.answer))));
    return li;
  }

  function event(item) {
    var li = el("li");
    var head = line(item, item.action !== undefined ? compact(item.action) : "(no action)");
    if (item.fields && item.fields[".ri"] !== undefined) tag(head, "context " + compact(item.fields[".ri"]));
    tag(head, item.dataset);
    statusTag(head, item.status);
    li.appendChild(head);
    if (item.value !== undefined) li.appendChild(el("pre", null, pretty(item.value)));
    var fields = item.fields || {};
    if (Object.keys(fields).some(function (key) { return key !== "action"; })) {
      li.appendChild(keyValues(fields, "action"));
    }
    var base = item.base || {};
    var count = Object.keys(base).length;
    if (count) li.appendChild(folded("Base keys (" + count + ")", keyValues(base)));
    li.dataset.text = (compact(item.action || "") + " " + JSON.stringify(fields)).toLowerCase();
    return li;
  }

  function campaign(item) {
    var li = el("li");
    var head = line(item, item.campaignId !== undefined ? compact(item.campaignId) : "(no campaign id)");
    if (item.experienceId !== undefined) tag(head, "experience " + compact(item.experienceId));
    (item.targets || []).forEach(function (target) { tag(head, "target " + compact(target)); });
    if (item.routingId !== undefined) tag(head, "context " + compact(item.routingId));
    li.appendChild(head);
    li.appendChild(folded("Campaign", el("pre", null, pretty(item.campaign))));
    return li;
  }

  function stat(item) {
    var li = el("li");
    var payload = item.payload || {};
    var what = STATS[payload.stat] || ("stat " + compact(payload.stat));
    var of = payload.type === "m" ? "message" : payload.type === "e" ? "experience" : "";
    var head = line(item, what + (of ? " of " + of : ""));
    if (payload.id !== undefined) tag(head, compact(payload.id));
    if (item.routingId !== undefined) tag(head, "context " + compact(item.routingId));
    li.appendChild(head);
    if (payload && typeof payload === "object") li.appendChild(keyValues(payload));
    return li;
  }

  function connect(item) {
    var li = el("li");
    var head = line(item, item.accepted ? "Accepted" : "Refused");
    tag(head, item.dataset);
    tag(head, String(item.status), item.accepted ? "good" : "bad");
    li.appendChild(head);
    if (item.reason) li.appendChild(el("div", "hint", item.reason));
    if (item.info && typeof item.info === "object") li.appendChild(folded("Connected with", keyValues(item.info)));
    else if (item.info !== undefined && item.info !== null) li.appendChild(el("pre", null, compact(item.info)));
    return li;
  }

  function screen(item) {
    var li = el("li");
    if (item.bytes) {
      var image = el("img");
      image.loading = "lazy";
      image.alt = "Screen " + item.sequence;
      image.src = item.image;
      if (item.width && item.height) { image.width = item.width; image.height = item.height; }
      li.appendChild(image);
    }
    var head = line(item, "Screen " + item.sequence);
    if (item.width) tag(head, item.width + " \u00D7 " + item.height);
    tag(head, item.bytes ? Math.max(1, Math.round(item.bytes / 1024)) + " KiB" : "no image");
    li.appendChild(head);
    var description = item.description !== undefined ? pretty(item.description) : item.descriptionText || "";
    li.appendChild(folded("Description", el("pre", null, description), true));
    if (item.info && typeof item.info === "object") li.appendChild(folded("Upload info", keyValues(item.info)));
    return li;
  }

  function request(item) {
    var li = el("li");
    var head = line(item, item.method + " " + item.path);
    tag(head, item.endpoint);
    statusTag(head, item.status, item.dropped);
    li.appendChild(head);
    if (item.reason) li.appendChild(el("div", "hint", item.reason));
    return li;
  }

  var SECTIONS = [
    ["configRequests", configRequest], ["connects", connect], ["events", event],
    ["campaigns", campaign], ["stats", stat], ["screens", screen], ["requests", request]
  ];

  // Brings a list in line with `items` (newest first), keeping the nodes of
  // the entries it already shows.
  function sync(list, items, render) {
    var present = {};
    Array.prototype.forEach.call(list.children, function (node) { present[node.dataset.key] = node; });
    var wanted = {};
    items.forEach(function (item, index) {
      var key = String(item.id !== undefined ? item.id : item.sequence);
      wanted[key] = true;
      var node = present[key];
      if (!node) {
        node = render(item);
        node.dataset.key = key;
      }
      if (list.children[index] !== node) list.insertBefore(node, list.children[index] || null);
    });
    Object.keys(present).forEach(function (key) { if (!wanted[key]) present[key].remove(); });
  }

  function applyFilter() {
    var text = filterNode.value.trim().toLowerCase();
    Array.prototype.forEach.call(document.querySelectorAll("#events ol > li"), function (node) {
      node.hidden = text !== "" && node.dataset.text.indexOf(text) < 0;
    });
  }

  function draw(data) {
    var key = data.instance + ":" + data.version;
    if (key === shown) return;
    if (data.instance !== instance) {
      // Another run of the service: its numbering starts again.
      SECTIONS.forEach(function (section) { document.querySelector("#" + section[0] + " ol").textContent = ""; });
      instance = data.instance;
    }
    shown = key;
    var totals = data.totals || {};
    SECTIONS.forEach(function (section) {
      var name = section[0];
      var items = data[name] || [];
      var node = document.getElementById(name);
      sync(node.querySelector("ol"), items, section[1]);
      var total = totals[name] !== undefined ? totals[name] : items.length;
      node.querySelector(".count").textContent =
          total ? (items.length < total ? "latest " + items.length + " of " + total : String(total)) : "";
      node.querySelector(".empty").hidden = items.length > 0;
    });
    applyFilter();
  }

  function load() {
    if (loading) { reload = true; return; }
    loading = true;
    fetch("console.json", { cache: "no-store" })
      .then(function (response) {
        if (!response.ok) throw new Error("status " + response.status);
        return response.json();
      })
      .then(function (data) {
        draw(data);
        if (!stream || stream.readyState !== 1) setStatus("polling", "Polling");
      })
      .catch(function () { setStatus("offline", "Service not reachable"); })
      .then(function () {
        loading = false;
        if (reload) { reload = false; load(); }
      });
  }

  // The stream says when something new arrived; where it is missing or
  // refused (the service serves a few at a time), the page polls.
  function listen() {
    if (!window.EventSource) return;
    stream = new EventSource("console/stream");
    stream.onopen = function () { setStatus("live", "Live"); };
    stream.onmessage = function (message) {
      var news;
      try { news = JSON.parse(message.data); } catch (e) { return; }
      if (news.instance + ":" + news.version !== shown) load();
    };
    stream.onerror = function () {
      if (stream.readyState === 2) {
        stream = null;
        setTimeout(listen, 30000);
      }
      setStatus("polling", "Polling");
    };
  }

  setInterval(function () {
    if (!document.hidden && (!stream || stream.readyState !== 1)) load();
  }, 2000);
  document.addEventListener("visibilitychange", function () { if (!document.hidden) load(); });
  filterNode.addEventListener("input", applyFilter);
  load();
  listen();
})();
</script>
</body>
</html>
)page";

}  // namespace

std::string_view ConsolePageHtml() { return kPage; }

}  // namespace tessarin::service
