#!/usr/bin/env python3
"""The command window page in headless Chromium: the pane's exact text, the
help link, the window size in characters, paging with the more sign, Stop,
clc, input() and pause, and the variables panel.
Usage: test_browser.py QZDESKTOP [SCREENSHOT.png]"""
import sys
import time
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from desktop_support import Desktop

BINARY = None
SCREENSHOT = None
WAIT = int(__import__("os").environ.get("QZ_WAIT", "60"))  # seconds; the sanitizer build is slow


def row(first, stop):
    return "".join("%6d" % v for v in range(first, stop + 1)) + "\n"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.desktop = Desktop(BINARY)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for arg in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                    "--window-size=1100,700", "--force-device-scale-factor=1"):
            options.add_argument(arg)
        cls.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        cls.driver.get(cls.desktop.url)
        cls.wait_ready()

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        cls.desktop.stop()

    @classmethod
    def wait_ready(cls):
        WebDriverWait(cls.driver, WAIT).until(lambda d: d.find_element(By.ID, "status").text == "ready")

    def pane(self):
        return self.driver.execute_script("return window.qzdesktop.paneText()")

    def type(self, text, wait=True):
        box = self.driver.find_element(By.ID, "statement")
        box.send_keys(text)
        box.send_keys(Keys.ENTER)
        if wait:
            self.wait_ready()

    def clear(self):
        self.type("clc")
        self.assertEqual(self.pane(), "")

    def set_columns(self, columns):
        """Resizes the browser until the pane is `columns` characters wide."""
        for _ in range(4):
            have = self.driver.execute_script("return window.qzdesktop.size()[0]")
            if have == columns:
                return
            width = self.driver.execute_script(
                "const m = document.getElementById('measure');"
                "return m.getBoundingClientRect().width / m.textContent.length")
            size = self.driver.get_window_size()
            self.driver.set_window_size(size["width"] + round((columns - have) * width * 100 / 66) + 1, size["height"])
            time.sleep(0.3)
        self.assertEqual(self.driver.execute_script("return window.qzdesktop.size()[0]"), columns)

    def test_1_statements_show_the_console_display(self):
        self.clear()
        cases = [
            ("A = reshape(1:16, 4, 4)'", "\nA =\n\n" + row(1, 4) + row(5, 8) + row(9, 12) + row(13, 16) + "\n"),
            ("w = 'it''s'", "\nw =\n\nit's\n\n"),
            ("z = 3+4i", "\nz =\n\n   3.0000 + 4.0000i\n\n"),
            ("q = int8([100 -5])", "\nq =\n\n  100   -5\n\n"),
            ("x = 1;", ""),
        ]
        expected = ""
        for statement, shown in cases:
            with self.subTest(statement=statement):
                self.type(statement)
                expected += ">> " + statement + "\n" + shown
                self.assertEqual(self.pane(), expected)
        # The variables panel after the statement.
        rows = [[td.text for td in tr.find_elements(By.TAG_NAME, "td")]
                for tr in self.driver.find_elements(By.CSS_SELECTOR, "#varrows tr")]
        self.assertIn(["A", "4x4", "double"], rows)
        self.assertIn(["q", "1x2", "int8"], rows)
        self.assertIn(["w", "1x4", "char"], rows)
        # History: the up arrow brings back the last statement.
        box = self.driver.find_element(By.ID, "statement")
        box.send_keys(Keys.ARROW_UP)
        self.assertEqual(box.get_attribute("value"), "x = 1;")
        box.clear()

    def test_2_help_link_opens_the_panel(self):
        self.clear()
        self.type("help")
        links = [a for a in self.driver.find_elements(By.CSS_SELECTOR, "#pane a") if a.text == "format"]
        self.assertEqual(len(links), 1)
        self.assertNotIn("<a", self.pane())
        self.assertIn("\n  format [WORD...]  short, long,", self.pane())
        links[0].click()
        panel = self.driver.find_element(By.ID, "help")
        WebDriverWait(self.driver, WAIT).until(lambda d: panel.is_displayed())
        self.assertEqual(self.driver.find_element(By.ID, "helptopic").text, "format")
        self.assertTrue(self.driver.find_element(By.ID, "helptext").text.startswith("format "))
        if SCREENSHOT:
            self.type("A = reshape(1:16, 4, 4)'")
            self.driver.save_screenshot(SCREENSHOT)

    def test_3_resizing_the_window_gives_more_columns(self):
        self.set_columns(80)
        self.clear()
        self.type("r = 1:20")
        self.assertEqual(self.pane(), ">> r = 1:20\n\nr =\n\n  Columns 1 through 13\n\n" + row(1, 13) +
                         "\n  Columns 14 through 20\n\n" + row(14, 20) + "\n")
        self.set_columns(130)
        self.clear()
        self.type("r = 1:20")
        self.assertEqual(self.pane(), ">> r = 1:20\n\nr =\n\n" + row(1, 20) + "\n")

    def test_4_more_sign_pages_and_q_stops(self):
        self.clear()
        self.type("more 5")
        self.type("c = reshape(1:30, 30, 1)", wait=False)
        sign = self.driver.find_element(By.ID, "more")
        WebDriverWait(self.driver, WAIT).until(lambda d: sign.is_displayed())
        # Five lines, then the sign; no "--more--" in the text.
        self.assertEqual(self.pane(), ">> more 5\n>> c = reshape(1:30, 30, 1)\n\nc =\n\n     1\n     2\n")
        body = self.driver.find_element(By.TAG_NAME, "body")
        body.send_keys(" ")  # a page
        WebDriverWait(self.driver, WAIT).until(lambda d: self.pane().endswith("     7\n") and sign.is_displayed())
        body.send_keys("x")  # a line
        WebDriverWait(self.driver, WAIT).until(lambda d: self.pane().endswith("     8\n") and sign.is_displayed())
        body.send_keys("q")  # stop
        self.wait_ready()
        self.assertFalse(sign.is_displayed())
        self.assertNotIn("--more--", self.pane())
        self.assertTrue(self.pane().endswith("     8\n"))
        self.type("more off")

    def test_5_stop_interrupts_a_running_display(self):
        self.clear()
        self.type("more off")
        self.type("big = rand(3000);")
        self.type("big", wait=False)
        WebDriverWait(self.driver, WAIT).until(lambda d: len(self.pane()) > 2000)
        self.driver.find_element(By.ID, "stop").click()
        self.wait_ready()
        # Stopped part way: the last row of the display never came.
        self.assertLess(len(self.pane()), 3000 * 3000 * 10)
        # A loop that never ends and prints nothing: only the interrupt ends it.
        self.clear()
        self.type("while true, end", wait=False)
        time.sleep(1)
        self.assertEqual(self.driver.find_element(By.ID, "status").text, "busy")
        self.driver.find_element(By.ID, "stop").click()
        self.wait_ready()
        self.clear()
        self.type("y = 2")
        self.assertEqual(self.pane(), ">> y = 2\n\ny =\n\n     2\n\n")

    def test_6_clc_empties_the_pane_and_home_goes_to_the_top(self):
        self.type("c = reshape(1:60, 60, 1)")
        scroll = "return document.getElementById('pane').scrollTop"
        self.assertGreater(self.driver.execute_script(scroll), 0)
        self.type("home")
        self.assertEqual(self.driver.execute_script(scroll), 0)
        self.assertTrue(self.pane().endswith("    60\n\n>> home\n"))
        self.type("clc")
        self.assertEqual(self.pane(), "")

    def test_7_input_and_pause_wait_for_the_page(self):
        field = self.driver.find_element(By.ID, "answer")
        statement = self.driver.find_element(By.ID, "statement")
        # (statement, what is typed, the pane while waiting, the pane at the end)
        cases = [
            ("x = input('Value: ')", "6*7",
             ">> x = input('Value: ')\nValue: ",
             ">> x = input('Value: ')\nValue: 6*7\n\nx =\n\n    42\n\n"),
            ("name = input('Name: ', 's'); disp(name)", "6*7",
             ">> name = input('Name: ', 's'); disp(name)\nName: ",
             ">> name = input('Name: ', 's'); disp(name)\nName: 6*7\n6*7\n"),
        ]
        for text, typed, waiting, done in cases:
            with self.subTest(text):
                self.clear()
                self.type(text, wait=False)
                WebDriverWait(self.driver, WAIT).until(lambda d: field.is_displayed() and self.pane().endswith(": "))
                self.assertEqual(self.pane(), waiting)
                field.send_keys(typed + Keys.ENTER)
                self.wait_ready()
                self.assertEqual(self.pane(), done)
        # pause takes one key from the page.
        self.clear()
        self.type("pause, k = 1", wait=False)
        sign = self.driver.find_element(By.ID, "more")
        WebDriverWait(self.driver, WAIT).until(lambda d: sign.is_displayed())
        self.assertEqual(sign.text, "press a key")
        statement.send_keys("z")
        self.wait_ready()
        self.assertEqual(self.pane(), ">> pause, k = 1\n\nk =\n\n     1\n\n")
        # Stop while a line is asked for ends the statement, as ctrl-C would; nothing is assigned.
        self.clear()
        self.type("x = input('Again: ')", wait=False)
        WebDriverWait(self.driver, WAIT).until(lambda d: field.is_displayed())
        self.driver.find_element(By.ID, "stop").click()
        self.wait_ready()
        self.assertFalse(field.is_displayed())
        self.clear()
        self.type("x")
        self.assertEqual(self.pane(), ">> x\n\nx =\n\n    42\n\n")

    def test_8_file_link_opens_the_viewer_at_its_line(self):
        self.clear()
        self.type("dir " + FOLDER)
        links = [a for a in self.driver.find_elements(By.CSS_SELECTOR, "#pane a") if a.text == "desktop_support.py"]
        self.assertEqual(len(links), 1)
        links[0].click()
        viewer = self.driver.find_element(By.ID, "viewer")
        WebDriverWait(self.driver, WAIT).until(lambda d: viewer.is_displayed())
        number, text = self.driver.execute_script(
            "const here = document.querySelector('#viewertext .line.here');"
            "return [here.firstChild.textContent, here.lastChild.data]")
        self.assertEqual(number, "1")
        self.assertEqual(text, '"""Starts qzdesktop for a test and talks to it: a small WebSocket client')


    def test_9_a_block_of_several_lines_runs_as_one_statement(self):
        self.clear()
        box = self.driver.find_element(By.ID, "statement")
        box.send_keys("for k = 1:3", Keys.SHIFT, Keys.ENTER, Keys.NULL, "s = k;", Keys.SHIFT, Keys.ENTER, Keys.NULL,
                      "end", Keys.ENTER)
        self.wait_ready()
        self.type("s")
        self.assertEqual(self.pane(), ">> for k = 1:3\ns = k;\nend\n>> s\n\ns =\n\n     3\n\n")


if __name__ == "__main__":
    import os
    FOLDER = os.path.dirname(os.path.abspath(__file__))
    BINARY = sys.argv.pop(1)
    if len(sys.argv) > 1 and sys.argv[1].endswith(".png"):
        SCREENSHOT = sys.argv.pop(1)
    unittest.main()
