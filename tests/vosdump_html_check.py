#!/usr/bin/env python3
"""Checks the page of `vosdump --html` in headless Chromium.

  vosdump_html_check.py VOSPACK VOSDUMP NODESETS WORKDIR [CORPUS_PLAN]

Converts namespace 0 + DI, writes the page and opens it: searches a node, follows the path
the tree expands to it, walks the tree with the keyboard, follows a reference and compares
the detail pane of a sample of nodes with `vosdump --json`. Then opens the page of a model
whose names, NodeIds and values hold markup and script and checks that none of it runs.
With CORPUS_PLAN (tests/cruntime/corpus_plan) also opens the page of every corpus model that
converts and shows nodes of every class and value type there without a script error.
Screenshots and pages stay in WORKDIR. Fails when Chromium or Selenium is not installed, and
exits 77 when the browser is installed but cannot start.
"""
import json
import os
import subprocess
import sys
import time
from urllib.parse import quote

try:
    from selenium import webdriver
    from selenium.common.exceptions import NoAlertPresentException, WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError as err:
    print("error: Selenium is not installed (%s): run make deps" % err)
    sys.exit(1)

HOSTILE = [
    "<script>window.pwned=1</script>",
    "\"'><img src=x onerror=\"window.pwned=2\">",
    "</script><script>window.pwned=3</script>",
    "<!--</script>-->&amp;\u2028\u2029end",
]


def xml_text(s):
    return s.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace('"', "&quot;")


def hostile_model():
    """A model whose names, texts, a string NodeId and a value try to become markup."""
    t = [xml_text(s) for s in HOSTILE]
    return """<?xml version="1.0" encoding="utf-8"?>
<UANodeSet xmlns="http://opcfoundation.org/UA/2011/03/UANodeSet.xsd">
  <NamespaceUris><Uri>urn:test:{0}</Uri></NamespaceUris>
  <Models><Model ModelUri="urn:test:{0}" Version="{1}" PublicationDate="2024-01-01T00:00:00Z">
    <RequiredModel ModelUri="http://opcfoundation.org/UA/"/></Model></Models>
  <Aliases><Alias Alias="Organizes">i=35</Alias><Alias Alias="HasComponent">i=47</Alias>
    <Alias Alias="HasTypeDefinition">i=40</Alias><Alias Alias="String">i=12</Alias></Aliases>
  <UAObject NodeId="ns=1;s={2}" BrowseName="1:{0}"><DisplayName>{0}</DisplayName>
    <Description>{1}</Description>
    <References><Reference ReferenceType="Organizes" IsForward="false">i=85</Reference>
      <Reference ReferenceType="HasTypeDefinition">i=61</Reference>
      <Reference ReferenceType="HasComponent">ns=1;i=2</Reference></References></UAObject>
  <UAVariable NodeId="ns=1;i=2" BrowseName="1:{2}" DataType="String"><DisplayName>{3}</DisplayName>
    <Value><String xmlns="http://opcfoundation.org/UA/2008/02/Types.xsd">{2}</String></Value></UAVariable>
""".format(*t) + "".join(
        '  <UAVariable NodeId="ns=1;i=%d" BrowseName="1:V%d" DataType="%s" ValueRank="%d">'
        '<DisplayName>V%d</DisplayName><References><Reference ReferenceType="HasComponent" '
        'IsForward="false">ns=1;i=2</Reference></References><Value>%s</Value></UAVariable>\n'
        % (10 + k, k, datatype, rank, k, value)
        for k, (datatype, rank, value) in enumerate(VALUES)) + "</UANodeSet>\n"


# Values of types that the corpus seldom has, as a NodeSet writes them.
_UAX = ' xmlns="http://opcfoundation.org/UA/2008/02/Types.xsd"'
VALUES = [
    ("i=8", -1, "<Int64%s>-9223372036854775808</Int64>" % _UAX),
    ("i=9", -1, "<UInt64%s>18446744073709551615</UInt64>" % _UAX),
    ("i=11", -1, "<Double%s>NaN</Double>" % _UAX),
    ("i=14", -1, "<Guid%s><String>01020304-0506-0708-090a-0b0c0d0e0f10</String></Guid>" % _UAX),
    ("i=15", -1, "<ByteString%s>AAEC/w==</ByteString>" % _UAX),
    ("i=21", -1, "<LocalizedText%s><Locale>en</Locale><Text>&lt;b&gt;bold</Text></LocalizedText>" % _UAX),
    ("i=20", -1, "<QualifiedName%s><NamespaceIndex>1</NamespaceIndex><Name>q&amp;</Name></QualifiedName>" % _UAX),
    ("i=17", -1, "<NodeId%s><Identifier>i=85</Identifier></NodeId>" % _UAX),
    ("i=13", -1, "<DateTime%s>2024-01-01T00:00:00Z</DateTime>" % _UAX),
    ("i=12", 1, "<ListOfString%s><String>&lt;/script&gt;</String><String>b</String></ListOfString>" % _UAX),
    ("i=296", 1, "<ListOfExtensionObject%s><ExtensionObject><TypeId><Identifier>i=297</Identifier></TypeId>"
     "<Body><Argument><Name>x</Name><DataType><Identifier>i=6</Identifier></DataType>"
     "<ValueRank>-1</ValueRank><ArrayDimensions/><Description/></Argument></Body></ExtensionObject>"
     "</ListOfExtensionObject>" % _UAX),
]


def run(args, cwd, **kw):
    r = subprocess.run(args, cwd=cwd, capture_output=True, **kw)
    if r.returncode != 0:
        raise SystemExit("%s failed (%d): %s" % (args[0], r.returncode, r.stderr.decode(errors="replace")))
    return r.stdout


class Page:
    def __init__(self):
        options = webdriver.ChromeOptions()
        for arg in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                    "--window-size=1400,900"]:
            options.add_argument(arg)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        driver = "/usr/bin/chromedriver"
        service = Service(driver) if os.path.exists(driver) else Service()
        self.d = webdriver.Chrome(service=service, options=options)

    def open(self, path, fragment=""):
        self.d.get("about:blank")
        self.d.get("file://" + path + fragment)
        for _ in range(400):
            ready = self.d.execute_script("return window.vosReady")
            if ready:
                return ready
            time.sleep(0.025)
        raise AssertionError("the page of %s never became ready" % path)

    def js(self, code, *args):
        return self.d.execute_script(code, *args)

    def console(self):
        return [e for e in self.d.get_log("browser") if e["level"] in ("SEVERE", "WARNING")]

    def go(self, nodeid):
        self.js("location.hash = arguments[0]", "#" + quote(nodeid, safe=""))

    def attrs(self):
        return self.js("""const o = {};
            for (const tr of document.querySelectorAll('#detail tr[data-attr]'))
              o[tr.dataset.attr] = tr.querySelector('td a')
                ? decodeURIComponent(tr.querySelector('td a').getAttribute('href').slice(1))
                : tr.querySelector('td').textContent;
            return o;""")

    def focused(self):
        return self.js("const a = document.activeElement; return [a.getAttribute('role'), "
                       "a.querySelector('.name') ? a.querySelector('.name').textContent : '', "
                       "a.getAttribute('aria-expanded')]")


failures = []


def check(cond, what):
    if not cond:
        failures.append(what)
        print("FAIL:", what)


def expected_attrs(n):
    """The detail pane's attributes as text, or the NodeId a link names."""
    e = {"NodeId": n["nodeid"], "NodeClass": n["class"],
         "BrowseName": "%d:%s" % (n["browse_name"]["ns"], n["browse_name"]["name"])}
    if "display_name" in n:
        e["DisplayName"] = n["display_name"]
    if "description" in n:
        e["Description"] = n["description"]
    if "is_abstract" in n:
        e["IsAbstract"] = str(n["is_abstract"]).lower()
    for key, attr in (("symmetric", "Symmetric"), ("executable", "Executable"),
                      ("historizing", "Historizing"), ("inverse_name", "InverseName")):
        if key in n:
            e[attr] = n[key] if isinstance(n[key], str) else str(n[key]).lower()
    if "datatype" in n:
        e["DataType"] = n["datatype"]  # a link to it
    if "array_dimensions" in n:
        e["ArrayDimensions"] = ", ".join(str(d) for d in n["array_dimensions"])
    if "minimum_sampling_interval" in n:
        e["MinimumSamplingInterval"] = str(n["minimum_sampling_interval"])
    return e


def value_text(type_name, x):
    """How the detail pane shows one element of a value of the JSON form (None: by name)."""
    if type_name in ("NodeId", "ExpandedNodeId", "ExtensionObject"):
        return None
    if type_name == "Boolean":
        return str(x).lower()
    if type_name == "StatusCode":
        return "0x%08x" % x
    if type_name == "QualifiedName":
        return "%d:%s" % (x["ns"], x["name"])
    if type_name == "LocalizedText":
        return ("[%s] " % x["locale"] if x["locale"] else "") + x["text"]
    return str(x)


def reference_counts(doc):
    refs_out, refs_in = {}, {}
    for r in doc["references"]:
        refs_out[r["source"]] = refs_out.get(r["source"], 0) + 1
        refs_in[r["target"]] = refs_in.get(r["target"], 0) + 1
    return refs_out, refs_in


def check_node(page, n, refs_out, refs_in):
    page.go(n["nodeid"])
    got = page.attrs()
    want = expected_attrs(n)
    for key, value in want.items():
        check(got.get(key) == value, "%s %s: page %r, JSON %r" % (n["nodeid"], key, got.get(key), value))
    if n["class"] in ("Variable", "VariableType"):
        check(got.get("ValueRank", "").split(" ")[0] == str(n.get("value_rank", -1)),
              "%s ValueRank %r" % (n["nodeid"], got.get("ValueRank")))
    if n["class"] == "Variable":
        check(int(got["AccessLevel"].split(" ")[0], 16) == n.get("access_level", 1),
              "%s AccessLevel %r" % (n["nodeid"], got.get("AccessLevel")))
    value = n.get("value")
    if value is not None:
        shown = page.js("""const v = document.getElementById('detail-value');
            const items = v.querySelectorAll('ol.array > li');
            return items.length ? Array.from(items, (li) => li.textContent) : [v.textContent];""")
        items = value["array"] if "array" in value else [value["value"]]
        items = [value_text(value["type"], x) for x in items][:1000]
        if None in items:  # shown with names the JSON form does not have
            check(len(shown) == len(items) and all(shown), "%s value %r" % (n["nodeid"], shown[:5]))
        else:
            check(shown == items, "%s value: page %r, JSON %r" % (n["nodeid"], shown[:5], items[:5]))
    counts = page.js("return Array.from(document.querySelectorAll('#detail .refs h3'), (h) => h.textContent)")
    check(counts == ["References (%d)" % refs_out.get(n["nodeid"], 0),
                     "Inverse references (%d)" % refs_in.get(n["nodeid"], 0)],
          "%s reference counts %r" % (n["nodeid"], counts))


def sample(doc):
    """A few nodes of every class of both namespaces, and one per value type."""
    picked, per_key = [], {}
    for n in doc["nodes"]:
        ns = n["nodeid"].split(";")[0] if n["nodeid"].startswith("ns=") else "ns=0"
        key = (n["class"], ns)
        if per_key.get(key, 0) < 3:
            per_key[key] = per_key.get(key, 0) + 1
            picked.append(n)
        elif n.get("value") is not None:
            vkey = (n["value"]["type"], "array" in n["value"])
            if vkey not in per_key:
                per_key[vkey] = 1
                picked.append(n)
    return picked


def corpus_pages(plan, nodesets, vospack, vosdump, work):
    """Pages of every corpus model that converts (a few do not, for reasons of their own)."""
    folder = os.path.join(work, "corpus")
    os.makedirs(folder, exist_ok=True)
    lines = run([plan, nodesets], folder).decode().splitlines()
    pages = []
    for line in lines:
        name, _, files = line.split("\t")[:3]
        base = os.path.join(folder, name.rsplit(".", 1)[0])
        if subprocess.run([vospack, "-q", "-a", "-o", base + ".bin"] + files.split(" "), cwd=folder,
                          capture_output=True).returncode != 0:
            continue
        run([vosdump, "--html", base + ".html", base + ".bin"], folder)
        pages.append(base + ".html")
    return pages


# Shows up to two nodes of every class and value type, one after the other through the URL
# fragment, then the type hierarchy; returns the script errors.
CORPUS_WALK = """
const done = arguments[arguments.length - 1];
const errors = [];
window.addEventListener('error', (e) => errors.push(String(e.message)));
const D = JSON.parse(document.getElementById('vos-data').textContent);
const details = [];
for (let k = 0; document.getElementById('vos-detail-' + k); k++)
  details.push(...JSON.parse(document.getElementById('vos-detail-' + k).textContent));
const seen = new Map(), picks = [];
D.nodes.forEach((n, i) => {
  const v = details[i] && details[i].v;
  const key = n[0] + '/' + (v ? v.type + ('array' in v) : '');
  if ((seen.get(key) || 0) < 2) { seen.set(key, (seen.get(key) || 0) + 1); picks.push(i); }
});
let k = 0;
const step = () => {
  if (!document.querySelector('#detail h2')) errors.push('no detail for ' + D.ids[picks[k - 1]]);
  if (k === picks.length) {
    document.getElementById('tab-ty').click();
    done(errors);
    return;
  }
  window.addEventListener('hashchange', () => setTimeout(step, 0), { once: true });
  location.hash = '#' + encodeURIComponent(D.ids[picks[k++]]);
};
step();
"""


def corpus_check(page, path):
    page.open(path)
    page.d.set_script_timeout(60)
    errors = page.d.execute_async_script(CORPUS_WALK)
    check(errors == [], "%s: %r" % (os.path.basename(path), errors[:3]))
    check(page.console() == [], "%s: console %r" % (os.path.basename(path), page.console()[:3]))


def main(argv):
    if len(argv) not in (5, 6):
        sys.stderr.write(__doc__)
        return 2
    vospack, vosdump, nodesets, work = (os.path.abspath(a) for a in argv[1:5])
    os.makedirs(work, exist_ok=True)
    work = os.path.abspath(work)
    run([vospack, "-q", "-i0", "-i2", "-o", "ns0_di.bin", os.path.join(nodesets, "Opc.Ua.NodeSet2.xml"),
         os.path.join(nodesets, "Opc.Ua.Di.NodeSet2.xml")], work)
    run([vosdump, "--html", "ns0_di.html", "ns0_di.bin"], work)
    raw = run([vosdump, "--json", "ns0_di.bin"], work)
    doc = json.loads(raw)
    html_size = os.path.getsize(os.path.join(work, "ns0_di.html"))
    print("ns0 + DI: page %d bytes, JSON %d bytes (%.2f)" % (html_size, len(raw), html_size / len(raw)))
    check(html_size <= 2 * len(raw), "the page is more than twice the size of the JSON")

    with open(os.path.join(work, "hostile.xml"), "w", encoding="utf-8") as f:
        f.write(hostile_model())
    run([vospack, "-q", "-i2", "-o", "hostile.bin", os.path.join(nodesets, "Opc.Ua.NodeSet2.xml"),
         "hostile.xml"], work)
    run([vosdump, "--html", "hostile.html", "hostile.bin"], work)
    hostile_doc = json.loads(run([vosdump, "--json", "hostile.bin"], work))

    if not any(os.path.exists(os.path.join(d, "chromium")) for d in os.environ["PATH"].split(os.pathsep)):
        print("error: chromium is not installed: run make deps")
        return 1
    try:
        page = Page()
    except WebDriverException as err:
        print("skipped: the browser does not start: %s" % err.msg)
        return 77
    corpus = corpus_pages(os.path.abspath(argv[5]), nodesets, vospack, vosdump, work) if len(argv) == 6 else []
    try:
        run_checks(page, doc, hostile_doc, work)
        for path in corpus:
            corpus_check(page, path)
        if corpus:
            print("opened the pages of %d corpus models" % len(corpus))
    finally:
        page.d.quit()
    if failures:
        print("%d check(s) failed" % len(failures))
        return 1
    print("all checks passed")
    return 0


def run_checks(page, doc, hostile_doc, work):
    names = {n["nodeid"]: n.get("display_name") or n["browse_name"]["name"] for n in doc["nodes"]}
    refs_out, refs_in = reference_counts(doc)
    path = os.path.join(work, "ns0_di.html")
    ready = page.open(path)
    print("ns0 + DI: interactive after %.0f ms" % ready)
    check(page.console() == [], "console messages: %r" % page.console())

    # Search, and the path the tree expands to the match.
    device_set = next(n for n in doc["nodes"] if n["browse_name"]["name"] == "DeviceSet")
    box = page.d.find_element(By.ID, "q")
    box.send_keys("devicese")
    time.sleep(0.3)
    first = page.js("const a = document.querySelector('#results a'); return a && a.getAttribute('href')")
    check(first == "#" + quote(device_set["nodeid"], safe=""), "first search result %r" % first)
    box.send_keys(Keys.ENTER)
    time.sleep(0.2)
    check(page.js("return decodeURIComponent(location.hash.slice(1))") == device_set["nodeid"], "fragment after search")
    expanded = page.js("""const out = [];
        for (let li = document.querySelector('#tree-as [aria-selected=true]'); li; li = li.parentElement.closest('[role=treeitem]'))
          out.unshift([li.querySelector('.name').textContent, li.getAttribute('aria-expanded')]);
        return out;""")
    check([e[0] for e in expanded] == ["Root", "Objects", "DeviceSet"] and
          all(e[1] == "true" for e in expanded[:-1]), "tree path %r" % expanded)
    check(page.js("return document.getElementById('detail-name').textContent") == "DeviceSet", "detail of DeviceSet")

    # Keyboard: the selected item has the focus; Left goes up, collapses; Right expands; Home, End.
    check(page.focused()[:2] == ["treeitem", "DeviceSet"], "focus after search %r" % page.focused())
    active = page.d.switch_to.active_element
    active.send_keys(Keys.ARROW_LEFT)
    check(page.focused()[1] == "Objects", "Left moves to the parent %r" % page.focused())
    page.d.switch_to.active_element.send_keys(Keys.ARROW_LEFT)
    check(page.focused() == ["treeitem", "Objects", "false"], "Left collapses %r" % page.focused())
    page.d.switch_to.active_element.send_keys(Keys.ARROW_RIGHT)
    page.d.switch_to.active_element.send_keys(Keys.ARROW_RIGHT)
    check(page.focused()[2] is not None or page.focused()[1] != "Objects",
          "Right expands, then enters the children %r" % page.focused())
    page.d.switch_to.active_element.send_keys(Keys.HOME)
    check(page.focused()[1] == "Root", "Home %r" % page.focused())
    check(page.js("return document.getElementById('detail-name').textContent") == "Root", "selection follows the focus")
    page.d.switch_to.active_element.send_keys(Keys.END)
    last = page.js("const t = document.querySelectorAll('#tree-as [role=treeitem]'); "
                   "return Array.from(t).filter((li) => li.offsetParent !== null).pop() === document.activeElement")
    check(last, "End moves to the last visible item")
    page.d.switch_to.active_element.send_keys(Keys.ARROW_UP)
    check(page.focused()[0] == "treeitem", "Up %r" % page.focused())

    # Follow a reference of DeviceSet from the detail pane.
    page.go(device_set["nodeid"])
    time.sleep(0.1)
    typedef = next(r["target"] for r in doc["references"]
                   if r["source"] == device_set["nodeid"] and r["type"] == "i=40")
    link = page.d.find_element(By.CSS_SELECTOR, '#detail .refs[data-dir=forward] a[href="#%s"]' % quote(typedef, safe=""))
    link.click()
    time.sleep(0.2)
    check(page.js("return decodeURIComponent(location.hash.slice(1))") == typedef, "fragment after following a reference")
    check(page.attrs().get("NodeId") == typedef, "detail after following a reference")
    check(page.js("return document.querySelector('#tree-as [aria-selected=true] .name').textContent") == names[typedef],
          "the tree reveals the reference's target")

    # The detail pane against the JSON form.
    picked = sample(doc)
    for n in picked:
        check_node(page, n, refs_out, refs_in)
    print("compared %d nodes with the JSON form" % len(picked))

    # A link to a node opens the page with it selected; the type hierarchy holds it too.
    ready = page.open(path, "#" + quote("ns=2;i=15007", safe=""))
    check(page.attrs().get("BrowseName") == "0:StaticNumericNodeIdRange", "opening with a fragment")
    page.d.find_element(By.ID, "tab-ty").click()
    page.go("i=2004")
    time.sleep(0.1)
    trail = page.js("""const out = [];
        for (let li = document.querySelector('#tree-ty [aria-selected=true]'); li; li = li.parentElement.closest('[role=treeitem]'))
          out.unshift(li.querySelector('.name').textContent);
        return out;""")
    check(trail == ["Object types", "BaseObjectType", "ServerType"], "type hierarchy path %r" % trail)
    page.go("ns=2;i=15007")
    time.sleep(0.1)
    page.d.save_screenshot(os.path.join(work, "ns0_di.png"))
    check(page.console() == [], "console messages: %r" % page.console())

    # Hostile texts stay text.
    hostile = os.path.join(work, "hostile.html")
    page.open(hostile)
    box = page.d.find_element(By.ID, "q")
    box.send_keys("<script>")
    time.sleep(0.3)
    box.send_keys(Keys.ENTER)
    time.sleep(0.2)
    check(page.js("return document.getElementById('detail-name').textContent") == HOSTILE[0], "hostile display name")
    got = page.attrs()
    check(got.get("Description") == HOSTILE[1], "hostile description %r" % got.get("Description"))
    check(got.get("NodeId") == "ns=2;s=" + HOSTILE[2], "hostile NodeId %r" % got.get("NodeId"))
    page.go("ns=2;i=2")
    time.sleep(0.1)
    check(page.js("return document.getElementById('detail-value').textContent") == HOSTILE[2], "hostile value")
    check(page.js("return document.getElementById('detail-name').textContent") == HOSTILE[3], "hostile name with U+2028")
    page.d.save_screenshot(os.path.join(work, "hostile.png"))
    refs_out, refs_in = reference_counts(hostile_doc)
    for n in hostile_doc["nodes"]:
        check_node(page, n, refs_out, refs_in)
    page.open(hostile, "#" + quote(HOSTILE[1], safe=""))
    check(page.js("return document.querySelector('#detail code').textContent") == HOSTILE[1],
          "a fragment that names no node")
    check(page.js("return window.pwned") is None, "a planted script ran")
    check(page.js("return [Array.from(document.scripts).filter((s) => s.type !== 'application/json').length, "
                  "document.images.length]") == [1, 0], "markup from the model")
    try:
        page.d.switch_to.alert
        check(False, "an alert opened")
    except NoAlertPresentException:
        pass
    check(page.console() == [], "console messages: %r" % page.console())


if __name__ == "__main__":
    sys.exit(main(sys.argv))
