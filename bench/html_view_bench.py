#!/usr/bin/env python3
"""Times pages of `vosdump --html` in headless Chromium (Debian's chromium, chromium-driver
and python3-selenium; run with /usr/bin/python3).

Usage: html_view_bench.py PAGE.html[#FRAGMENT] [QUERY]...

For the page (opened with the node the fragment names chosen): its size, the time from
navigation to a usable page (the viewer's window.vosReady, measured with performance.now()),
the JavaScript heap, and for each QUERY the time of one search with Enter, which also expands
the tree to the first match.
"""
import os
import sys
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service


def main(argv):
    if len(argv) < 2:
        sys.stderr.write(__doc__)
        return 2
    options = webdriver.ChromeOptions()
    for arg in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                "--window-size=1400,900", "--enable-precise-memory-info"]:
        options.add_argument(arg)
    d = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    try:
        path, _, fragment = argv[1].partition("#")
        path = os.path.abspath(path)
        d.get("file://" + path + ("#" + fragment if fragment else ""))
        ready = None
        for _ in range(2400):
            ready = d.execute_script("return window.vosReady")
            if ready:
                break
            time.sleep(0.025)
        heap = d.execute_script("return performance.memory ? performance.memory.usedJSHeapSize : 0")
        print("%s: %.1f MB, interactive after %.0f ms, heap %.0f MB" % (
            os.path.basename(path), os.path.getsize(path) / 1e6, ready or -1, heap / 1e6))
        times = d.execute_script("return window.vosTimes")
        print("  " + ", ".join("%s %.0f" % (k, v) for k, v in times.items()))
        for query in argv[2:]:
            ms, text = d.execute_script("""
                const q = document.getElementById('q');
                q.value = arguments[0];
                const t0 = performance.now();
                q.dispatchEvent(new KeyboardEvent('keydown', {key: 'Enter', bubbles: true}));
                return [performance.now() - t0, document.getElementById('count').textContent];""", query)
            print("  search %r: %.0f ms (%s)" % (query, ms, text))
    finally:
        d.quit()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
