"""What the tests of a client can look like."""
import json
import os
import urllib.request

import pytest


def ask(device, path, method="GET", body=None):
    request = urllib.request.Request(device.address + path, body, method=method)
    with urllib.request.urlopen(request, timeout=30) as answer:
        return json.load(answer)


def upload(device, name, content):
    target = os.path.join(device.user_files, name)
    metadata = json.dumps({"fileUri": target, "fileSize": len(content)}).encode()
    part = b"--x\r\nContent-Disposition: form-data\r\n\r\n%s\r\n"
    body = part % metadata + part % content + b"--x--\r\n"
    return ask(device, "/api/filemgr/v2/userfiles", "POST", body)


def test_the_device_tells_what_it_is(shared_device):
    assert ask(shared_device, "/info")["assetInfo"]["serialNumber"] == "PW-000042"


def test_the_device_tells_where_its_files_are(shared_device):
    assert ask(shared_device, "/info")["assetInfo"]["userFilesFolder"] == shared_device.user_files


def test_four_files_are_pending_from_the_start(shared_device):
    assert len(ask(shared_device, "/api/syncfiles/v1/pendingfiles")) == 4


def test_a_confirmed_file_is_pending_no_more(device):
    ask(device, f"/api/syncfiles/v1/userfiles{device.user_files}/readme.txt", "PUT")
    assert len(ask(device, "/api/syncfiles/v1/pendingfiles")) == 3


def test_an_uploaded_file_is_in_the_folder(device):
    assert upload(device, "new.txt", b"abc") == {}
    with open(os.path.join(device.user_files, "new.txt"), "rb") as file:
        assert file.read() == b"abc"


def test_work_orders_are_stored(device):
    batch = {"cdm": [{"workOrderId": "A"}]}
    assert ask(device, "/api/workflow/v1/workorders", "POST", json.dumps(batch).encode()) == {}
    assert "A" in ask(device, "/api/workflow/v1/list")["workOrderIds"]


def test_a_refusal_is_in_the_journal(device):
    ask(device, "/api/workflow/v1/workorder/none")
    device.process.terminate()
    device.process.wait()
    assert "Job not found" in device.errors()


def test_an_upload_finds_no_room(device):
    device.set_faults("no-space*1")
    assert upload(device, "new.txt", b"abc") == {"errorMessage": "Upload failed"}
    assert upload(device, "new.txt", b"abc") == {}


@pytest.mark.device("--fault", "store-fails")
def test_work_orders_cannot_be_stored(device):
    answer = ask(device, "/api/workflow/v1/workorders", "POST", b'{"cdm": [{"workOrderId": "A"}]}')
    assert answer == {"errorMessage": "Error in request handler"}


@pytest.mark.device("--empty")
def test_an_empty_device_has_no_files(device):
    assert ask(device, "/api/filemgr/v2/userfiles") == {"files": []}
