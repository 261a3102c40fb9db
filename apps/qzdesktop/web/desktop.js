// The command window page of qzdesktop. It talks to the session over one
// WebSocket; every message is a kind letter and its text (see Protocol.hpp).
// The pane holds exactly what a terminal would show: the prompt and each
// statement as typed, then the session's output; links, colours and the
// more sign are drawn around that text, never into it.
"use strict";

(function () {
  const $ = (id) => document.getElementById(id);
  const pane = $("pane"), entry = $("entry"), statement = $("statement"), promptEl = $("prompt");
  const moreSign = $("more"), inputLine = $("inputline"), answer = $("answer"), stopButton = $("stop");
  const statusEl = $("status");

  const token = new URLSearchParams(location.search).get("token") || "";
  const MORE_TEXT = "more: space for a page, q to stop, any other key for a line";
  const PANE_LIMIT = 1000000;  // characters kept in the pane; the oldest go first

  let socket = null;
  let ready = false;       // the session waits for a statement
  let promptText = ">> ";
  let carry = "";          // output held back while a link may still be open
  let carryStream = "o";
  let errorSpan = null;    // the span an error or warning is being written into
  let paneLength = 0;
  const history = [];
  let historyAt = 0;
  let sentSize = "";

  function send(text) {
    if (socket && socket.readyState === WebSocket.OPEN) socket.send(text);
  }

  // ---- the pane ----

  function trimPane() {
    while (paneLength > PANE_LIMIT && pane.firstChild) {
      paneLength -= pane.firstChild.textContent.length;
      pane.removeChild(pane.firstChild);
    }
  }

  function target() { return errorSpan || pane; }

  function appendText(text) {
    if (!text) return;
    target().appendChild(document.createTextNode(text));
    paneLength += text.length;
  }

  // A backspace takes back the character before it.
  function eraseOne() {
    let node = target().lastChild;
    while (node && node.nodeType !== Node.TEXT_NODE) node = node.previousSibling;
    if (node && node.data.length > 0) {
      node.data = node.data.slice(0, -1);
      paneLength -= 1;
    }
  }

  function appendLink(href, text) {
    const a = document.createElement("a");
    a.textContent = text;
    a.dataset.href = href;
    target().appendChild(a);
    paneLength += text.length;
  }

  // Plain text with the error and warning markers ("{\b" ... "}\b \n" and
  // "[\b" ... "]\b \n") turned into coloured spans, and backspaces applied.
  function appendPlain(text, stream) {
    const re = /\{\x08|\[\x08|\}\x08 \n|\]\x08 \n|\x08/g;
    let at = 0, m;
    while ((m = re.exec(text)) !== null) {
      appendText(text.slice(at, m.index));
      at = m.index + m[0].length;
      if (m[0] === "{\x08" || m[0] === "[\x08") {
        const span = document.createElement("span");
        span.className = m[0][0] === "{" ? "err" : "warn";
        pane.appendChild(span);
        errorSpan = span;
      } else if (m[0] === "\x08") {
        eraseOne();
      } else {
        errorSpan = null;
        appendText("\n");
      }
    }
    appendText(text.slice(at));
  }

  const LINK = /<a\s+href\s*=\s*"([^"]*)"[^>]*>([\s\S]*?)<\/a>|<strong>([\s\S]*?)<\/strong>/g;
  const OPENING = /<a\s|<strong>/g;

  // Output of one stream; a link whose end has not come yet waits for the next piece.
  function appendOutput(text, stream) {
    if (carry && carryStream !== stream) flushCarry();
    text = carry + text;
    carry = "";
    carryStream = stream;
    if (stream === "e" && !errorSpan) {
      // Error text without markers is still shown as an error.
      const span = document.createElement("span");
      span.className = "err";
      pane.appendChild(span);
      errorSpan = span;
      appendWithLinks(text, stream);
      errorSpan = null;
    } else {
      appendWithLinks(text, stream);
    }
  }

  function appendWithLinks(text, stream) {
    let at = 0, m;
    LINK.lastIndex = 0;
    while ((m = LINK.exec(text)) !== null) {
      appendPlain(text.slice(at, m.index), stream);
      if (m[1] !== undefined) appendLink(m[1], m[2]); else appendStrong(m[3]);
      at = LINK.lastIndex;
    }
    let tail = text.slice(at);
    // Hold back an opening tag without its end, or what may become one.
    let open = -1;
    OPENING.lastIndex = 0;
    while ((m = OPENING.exec(tail)) !== null) { open = m.index; break; }
    if (open < 0) {
      const lt = tail.lastIndexOf("<");
      if (lt >= 0 && ("<strong>".startsWith(tail.slice(lt)) || "<a ".startsWith(tail.slice(lt)))) open = lt;
    }
    if (open >= 0 && tail.length - open < 4096) {
      carry = tail.slice(open);
      tail = tail.slice(0, open);
    }
    appendPlain(tail, stream);
  }

  function appendStrong(text) {
    const b = document.createElement("b");
    b.textContent = text;
    target().appendChild(b);
    paneLength += text.length;
  }

  function flushCarry() {
    const text = carry;
    carry = "";
    appendPlain(text, carryStream);
  }

  // ---- the session's messages ----

  // Messages are taken in every 15 ms, so that a long display costs one
  // layout of the pane each time and not one a message. (A timer rather than
  // animation frames: those stop in a hidden tab.)
  const arrived = [];
  let takeAsked = false;
  let atEnd = true;  // the pane follows its output; home holds it at the top

  function receive(data) {
    arrived.push(data);
    if (!takeAsked) {
      takeAsked = true;
      setTimeout(takeArrived, 15);
    }
  }

  function takeArrived() {
    takeAsked = false;
    const batch = arrived.splice(0, arrived.length);
    for (const data of batch) onMessage(data);
    trimPane();
    pane.scrollTop = atEnd ? pane.scrollHeight : 0;
  }

  function onMessage(data) {
    const kind = data[0], body = data.slice(1);
    switch (kind) {
      case "o": case "e": appendOutput(body, kind); atEnd = true; break;
      case "p":
        // Ready again: a line or key still asked for (an input that Stop ended) is no longer wanted.
        flushCarry(); errorSpan = null; promptText = body;
        inputLine.hidden = true; moreSign.hidden = true;
        setReady(true);
        break;
      case "m": moreSign.textContent = MORE_TEXT; moreSign.hidden = false; break;
      case "k": moreSign.textContent = "press a key"; moreSign.hidden = false; break;
      case "M": moreSign.hidden = true; break;
      case "c": pane.textContent = ""; paneLength = 0; carry = ""; errorSpan = null; break;
      case "H": atEnd = false; break;
      case "n": askForLine(); break;
      case "v": showVariables(body); break;
      case "h": showHelp(body); break;
      case "b": pane.classList.add("flash"); setTimeout(() => pane.classList.remove("flash"), 150); break;
      case "q": setReady(false); statusEl.textContent = "session ended"; break;
    }
  }

  function setReady(on) {
    ready = on;
    entry.classList.toggle("busy", !on);
    stopButton.disabled = on;
    promptEl.textContent = on ? promptText : "";
    statusEl.textContent = on ? "ready" : "busy";
    if (on && inputLine.hidden) statement.focus();
  }

  function askForLine() {
    inputLine.hidden = false;
    answer.value = "";
    answer.focus();
    statusEl.textContent = "waiting for input";
  }

  function showVariables(body) {
    const rows = $("varrows");
    rows.textContent = "";
    for (const line of body.split("\n")) {
      if (!line) continue;
      const tr = document.createElement("tr");
      for (const cell of line.split("\t")) {
        const td = document.createElement("td");
        td.textContent = cell;
        tr.appendChild(td);
      }
      rows.appendChild(tr);
    }
  }

  function showHelp(body) {
    const nl = body.indexOf("\n");
    $("helptopic").textContent = body.slice(0, nl);
    $("helptext").textContent = body.slice(nl + 1);
    $("help").hidden = false;
  }

  function openFile(path, line) {
    fetch("/file?token=" + encodeURIComponent(token) + "&path=" + encodeURIComponent(path))
      .then((r) => r.ok ? r.text() : Promise.reject(new Error("cannot read " + path)))
      .then((text) => {
        const box = $("viewertext");
        box.textContent = "";
        const lines = text.split("\n");
        if (lines.length > 1 && lines[lines.length - 1] === "") lines.pop();
        let here = null;
        lines.forEach((l, i) => {
          const div = document.createElement("div");
          div.className = "line" + (i + 1 === line ? " here" : "");
          const no = document.createElement("span");
          no.className = "no";
          no.textContent = String(i + 1);
          div.appendChild(no);
          div.appendChild(document.createTextNode(l));
          box.appendChild(div);
          if (i + 1 === line) here = div;
        });
        $("viewerpath").textContent = path;
        $("viewer").hidden = false;
        if (here) here.scrollIntoView({ block: "center" });
      })
      .catch((e) => { statusEl.textContent = e.message; });
  }

  // "calyx:helpPopup TOPIC" and "calyx:opentoline LINE PATH"; other
  // addresses are not followed.
  pane.addEventListener("click", (ev) => {
    const a = ev.target.closest("a");
    if (!a) return;
    ev.preventDefault();
    const href = a.dataset.href || "";
    let m;
    if ((m = /^calyx:helpPopup\s+(\S+)\s*$/.exec(href))) send("h" + m[1]);
    else if ((m = /^calyx:opentoline\s+(\d+)\s+(.+)$/.exec(href))) openFile(m[2], Number(m[1]));
  });

  document.querySelectorAll("[data-close]").forEach((b) =>
    b.addEventListener("click", () => { $(b.dataset.close).hidden = true; }));

  // ---- typing ----

  function submit() {
    const text = statement.value;
    if (!ready) return;
    if (text.trim() && history[history.length - 1] !== text) history.push(text);
    historyAt = history.length;
    appendText(promptText + text + "\n");
    atEnd = true;
    pane.scrollTop = pane.scrollHeight;
    statement.value = "";
    fitEntry();
    setReady(false);
    sendSize();
    send("x" + text);
  }

  function fitEntry() { statement.rows = Math.max(1, statement.value.split("\n").length); }

  statement.addEventListener("input", fitEntry);
  statement.addEventListener("keydown", (ev) => {
    const v = statement.value, caret = statement.selectionStart;
    if (ev.key === "Enter" && !ev.shiftKey) {
      ev.preventDefault();
      submit();
    } else if (ev.key === "ArrowUp" && v.lastIndexOf("\n", caret - 1) < 0 && historyAt > 0) {
      ev.preventDefault();
      statement.value = history[--historyAt];
      fitEntry();
    } else if (ev.key === "ArrowDown" && v.indexOf("\n", caret) < 0 && historyAt < history.length) {
      ev.preventDefault();
      historyAt += 1;
      statement.value = historyAt < history.length ? history[historyAt] : "";
      fitEntry();
    }
  });

  answer.addEventListener("keydown", (ev) => {
    if (ev.key !== "Enter") return;
    ev.preventDefault();
    appendText(answer.value + "\n");
    inputLine.hidden = true;
    statusEl.textContent = "busy";
    send("l" + answer.value);
  });

  // The more sign takes the next key: space a page, q stop, any other a line.
  // A program that waits for one key shows the same sign with other words.
  document.addEventListener("keydown", (ev) => {
    if (ev.ctrlKey && (ev.key === "c" || ev.key === "C") && !String(window.getSelection())) {
      ev.preventDefault();
      send("i");
      return;
    }
    if (moreSign.hidden || ev.ctrlKey || ev.altKey || ev.metaKey) return;
    let code = 0;
    if (ev.key.length === 1) code = ev.key.codePointAt(0);
    else if (ev.key === "Enter") code = 13;
    else if (ev.key === "Escape") code = 27;
    if (!code) return;
    ev.preventDefault();
    moreSign.hidden = true;
    send("k" + code);
  }, true);

  stopButton.addEventListener("click", () => send("i"));

  // ---- the window's size in characters ----

  function measure() {
    const m = $("measure");
    const charWidth = m.getBoundingClientRect().width / m.textContent.length;
    const style = getComputedStyle(pane);
    const lineHeight = parseFloat(style.lineHeight) || 16;
    const width = pane.clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight);
    const height = pane.clientHeight - parseFloat(style.paddingTop) - parseFloat(style.paddingBottom);
    return [Math.max(1, Math.floor(width / charWidth)), Math.max(1, Math.floor(height / lineHeight))];
  }

  function sendSize() {
    const [columns, rows] = measure();
    const text = columns + " " + rows;
    if (text === sentSize) return;
    sentSize = text;
    send("r" + text);
  }

  let resizeTimer = 0;
  window.addEventListener("resize", () => {
    clearTimeout(resizeTimer);
    resizeTimer = setTimeout(sendSize, 50);
  });

  // ---- the connection ----

  function connect() {
    socket = new WebSocket("ws://" + location.host + "/ws?token=" + encodeURIComponent(token));
    socket.onopen = () => { statusEl.textContent = "connected"; sentSize = ""; sendSize(); };
    socket.onmessage = (ev) => receive(ev.data);
    socket.onclose = (ev) => {
      setReady(false);
      statusEl.textContent = "disconnected" + (ev.reason ? ": " + ev.reason : "");
    };
  }

  window.qzdesktop = { paneText: () => pane.textContent, size: measure };
  connect();
})();
